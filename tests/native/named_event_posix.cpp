#include "support/named_event.h"

namespace wrenfall {

NamedEvent::NamedEvent(const std::string&) {}
bool NamedEvent::is_made() const { return true; }
void NamedEvent::set() {}
void NamedEvent::reset() {}
void NamedEvent::Closer::operator()(void*) const {}

}  // namespace wrenfall
