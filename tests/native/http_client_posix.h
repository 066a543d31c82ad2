#ifndef WRENFALL_TESTS_NATIVE_HTTP_CLIENT_POSIX_H_
#define WRENFALL_TESTS_NATIVE_HTTP_CLIENT_POSIX_H_

#include <functional>
#include <string>

#include "upload/http_client.h"

namespace wrenfall {

// What answers the requests of the library: nothing, like a machine without a network, until a test
// puts a service here. Called on the thread that sends.
using Network = std::function<HttpResponse(const std::string& url, const std::string& body)>;
Network& network();

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_NATIVE_HTTP_CLIENT_POSIX_H_
