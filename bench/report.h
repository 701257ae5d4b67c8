// SPDX-License-Identifier: Apache-2.0
// One table of all rows, for people.
#ifndef BENCH_REPORT_H
#define BENCH_REPORT_H

#include <benchmark/benchmark.h>

namespace bench {

// A row above this many times its floor has to say what stands in the way.
constexpr double kMark = 1.3;

class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &context) override;
  void ReportRuns(const std::vector<Run> &runs) override;

  bool has_failures() const { return has_failures_; }

 private:
  bool has_failures_ = false;
};

}  // namespace bench

#endif
