#include <wrenfall/wrenfall.h>
