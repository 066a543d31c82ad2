// Includes wrenfall.h first.
#include <wrenfall/wrenfall.hpp>
