// What comes of a request beside its response.
#ifndef TESTS_SUPPORT_EXCHANGES_H
#define TESTS_SUPPORT_EXCHANGES_H

#include <array>
#include <string>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"

namespace test {

// The texts traced at level 104 but for entries and exits, one behind the other.
inline std::string details(Rig &rig) {
  std::string details;
  for (const std::string &text : rig.traced(104)) {
    details += text.find("() ") == std::string::npos ? text : "";
  }
  return details;
}

inline void expect_unanswered(Rig &rig, const host::Reply &reply, int32_t result, const std::string &error) {
  EXPECT_EQ(reply.handler_result, result) << error;
  EXPECT_THAT(reply.responses, testing::IsEmpty());
  EXPECT_EQ(rig.traced(102), error.empty() ? std::vector<std::string>{} : std::vector<std::string>{error});
  rig.sw.tracing().clear();
}

// `errors`: what is traced when the message service fails with code 77, when the message has no payload, and when there
// is no memory for the response of `length` bytes. The request itself would succeed.
inline void expect_no_answers(Rig &rig, uint32_t code, const Bytes &request, size_t length,
                              const std::array<const char *, 3> &errors) {
  const auto submit_with = [&](const char *failing_call) {
    rig.sw.faults().fail(failing_call, 1, 77);
    return rig.sw.submit(code, request);
  };
  expect_unanswered(rig, submit_with("hdm_ipq_handler_init"), -12, errors[0]);
  expect_unanswered(rig, submit_with("ipq_payload_get"), -12, errors[1]);
  expect_unanswered(rig, submit_with("fu_ipq_send_response"), 0, "");
  fail_allocations_of(length);
  expect_unanswered(rig, rig.sw.submit(code, request), -3, errors[2]);
  let_allocations_pass();
}

}  // namespace test

#endif
