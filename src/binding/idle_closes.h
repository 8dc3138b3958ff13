// The CLOSE that a synchronous link holds for its next command goes out once the script thread
// is idle: statements run one after another in one turn of the loop send each CLOSE in one write
// with the command behind it, and no cursor stays open on the server while the script waits.
#pragma once

namespace zvdbms {

class LinkHolder;

// The hook given to ZVC_HoldCloses, with the link's holder as its context: called on the script
// thread whenever the link starts to hold a CLOSE.
void close_when_idle(void* holder);
// Forgets a holder whose link goes away before its CLOSE went out.
void forget_idle_close(LinkHolder* holder);

}  // namespace zvdbms
