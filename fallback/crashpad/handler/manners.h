#ifndef WRENFALL_FALLBACK_HANDLER_MANNERS_H_
#define WRENFALL_FALLBACK_HANDLER_MANNERS_H_

namespace crashpad::internal {

// What this handler does otherwise than Crashpad's own. The tests link the handler once more with manners
// as that one has them, because what is built around the handler must get along with both.
struct Manners {
  bool ends_when_told;        // on "stop"; otherwise it lives as long as the client
  bool lets_one_thread_run;   // the thread of the client that waits for the dump is not suspended
  bool removes_half_dumps;    // a dump that is not complete leaves no file
  bool leaves_end_to_client;  // a client that has crashed ends itself
};

extern const Manners kManners;

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_MANNERS_H_
