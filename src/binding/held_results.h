// Results handed to query objects, and their release: at once where that needs no link, else
// at the next point where the script thread is between exchanges.
#pragma once

namespace zvdbms {

// Closes the result in *p_res and clears it. A server cursor that could not be closed (its
// link failed) is kept for the next connection close, which detaches it if it is its own.
void release_result(void** p_res);
// For a collected object: frees a result held in client memory alone, and keeps a smart cursor,
// whose closing may talk over its link, for close_kept_results. Sends nothing.
void drop_result(void** p_res);
// Closes the cursors kept by drop_result, once each.
void close_kept_results();
// At a connection close: closes what close_kept_results and release_result could not. A cursor
// of the closed connection is detached from it, and its closing frees client memory only.
void close_failed_results();

}  // namespace zvdbms
