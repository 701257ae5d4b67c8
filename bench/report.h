// SPDX-License-Identifier: Apache-2.0
// One table of all rows, for people.
#ifndef BENCH_REPORT_H
#define BENCH_REPORT_H

#include <benchmark/benchmark.h>

namespace bench {

// A row above this many times its floor has to say what stands in the way, and up to where that explains it.
constexpr double kMark = 1.3;

class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &context) override;
  void ReportRuns(const std::vector<Run> &runs) override;

  bool has_failures() const { return has_failures_; }
  bool has_rows_above() const { return has_rows_above_; }  // the mark, or the bound of what is explained

 private:
  bool has_failures_ = false;
  bool has_rows_above_ = false;
};

}  // namespace bench

#endif
