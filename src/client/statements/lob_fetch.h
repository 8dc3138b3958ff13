// Fetching a large object that a row carried as a descriptor.
#pragma once
#include <cstdint>
#include "results/lob.h"

// Asks the server for the object named by lob->desc_text and appends it to the handle.
// Runs its own exchange, so it runs between replies, never inside one. 0 on every orderly
// end: a bare "K" (the server knows no such object) leaves the handle as it was and the link
// up; a reply of another form ends quietly with what arrived, and the link is dropped;
// -1 when the server answers with an error (its text goes to the handle); -5 when memory
// runs out; -4 when the link fails or the reply breaks its own form; -13 when the
// descriptor is malformed.
int32_t recv_lob(ConnRecord* conn, LobHandle* lob);
