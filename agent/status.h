// What the library's status codes mean.
#ifndef AGENT_STATUS_H
#define AGENT_STATUS_H

#include <cstdint>
#include <string>

namespace agent {

// "-5 (more flows than free places)".
std::string status_text(int32_t status);

}  // namespace agent

#endif
