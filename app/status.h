// What the library's status codes mean.
#ifndef APP_STATUS_H
#define APP_STATUS_H

#include <cstdint>
#include <string>

namespace app {

// "-5 (more flows than free places)".
std::string status_text(int32_t status);

}  // namespace app

#endif
