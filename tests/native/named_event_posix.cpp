#include "support/named_event.h"

namespace wrenfall {

NamedEvent::NamedEvent(const std::string&) {}
void NamedEvent::set() {}
void NamedEvent::Closer::operator()(void*) const {}

}  // namespace wrenfall
