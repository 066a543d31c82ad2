# Where the library looks for the crash-collection service. Development builds use the local service on 127.0.0.1, at a
# port of their own, so that build trees on one machine do not disturb each other.

# Derived from the build folder; below the ports that systems give out to programs that ask for any free one.
string(SHA256 wrenfall_tree "${PROJECT_BINARY_DIR}")
string(SUBSTRING "${wrenfall_tree}" 0 6 wrenfall_tree)
math(EXPR wrenfall_port "20000 + 0x${wrenfall_tree} % 10000")
set(WRENFALL_SERVICE_PORT ${wrenfall_port} CACHE STRING "The local service's port in this build tree")

set(WRENFALL_SERVICE_DOMAIN "" CACHE STRING
    "What follows the database name in the service's host name; \"local\": the local service, for database 127")
if(WRENFALL_SERVICE_DOMAIN STREQUAL "")
  message(WARNING "WRENFALL_SERVICE_DOMAIN is not set: this build makes reports, but has no service to send them to. "
                  "Give what follows the database name in your service's host name, "
                  "for example -DWRENFALL_SERVICE_DOMAIN=.crashes.example.com, or \"local\".")
elseif(WRENFALL_SERVICE_DOMAIN STREQUAL "local")
  # A normal variable that hides the cache variable; the value in the cache stays as the user gave it.
  set(WRENFALL_SERVICE_DOMAIN ".0.0.1:${WRENFALL_SERVICE_PORT}")
elseif(WRENFALL_SERVICE_DOMAIN MATCHES "^\\.0\\.0\\.1:([0-9]+)$")
  # A port that was given with the domain.
  set(WRENFALL_SERVICE_PORT ${CMAKE_MATCH_1})
elseif(NOT WRENFALL_SERVICE_DOMAIN MATCHES "^\\.[A-Za-z0-9.:-]+$")
  message(FATAL_ERROR "WRENFALL_SERVICE_DOMAIN is \"${WRENFALL_SERVICE_DOMAIN}\". "
                      "It begins with a dot, as in \".crashes.example.com\", or is \"local\".")
endif()
# For scripts, the test drivers and the service itself.
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/service-port CONTENT "${WRENFALL_SERVICE_PORT}\n")
