// Results handed to query objects, and their release: at once where that needs no link, else
// at the next point where the script thread is between exchanges.
#pragma once

namespace zvdbms {

// Closes the result in *p_res and clears it. A server cursor that could not be closed now
// (its link failed) is kept and tried again at the next release.
void release_result(void** p_res);
// For a collected object: frees a result held in client memory alone, and keeps a smart cursor,
// whose closing may talk over its link, for the next release. Sends nothing.
void drop_result(void** p_res);
// Closes the results kept by drop_result and failed closes. A cursor whose connection has been
// closed is detached from it, and its closing frees client memory only.
void close_kept_results();

}  // namespace zvdbms
