// SPDX-License-Identifier: Apache-2.0
#include "bench/report.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

namespace bench {
namespace {

using Run = benchmark::BenchmarkReporter::Run;

std::string processor() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("model name")) {
      return line.substr(line.find(": ") + 2);
    }
  }
  return "unknown processor";
}

double counter(const Run &run, const char *name) {
  const auto found = run.counters.find(name);
  return found == run.counters.end() ? 0 : found->second.value;
}

// "flows:1/table:4095" as "1 of 4095", "table:4095" as "4095", none as "-".
std::string size_of(const std::string &arguments) {
  if (arguments.empty()) {
    return "-";
  }
  const size_t slash = arguments.find('/');
  const auto number = [](const std::string &argument) { return argument.substr(argument.find(':') + 1); };
  return slash == std::string::npos ? number(arguments)
                                    : number(arguments.substr(0, slash)) + " of " + number(arguments.substr(slash + 1));
}

void print_name(const Run &run) {
  std::printf("%-30s%13s", run.run_name.function_name.c_str(), size_of(run.run_name.args).c_str());
}

bool is_above(const Run &run) {
  return counter(run, "ratio") > std::max(kMark, counter(run, "bound"));
}

std::string mark_of(const Run &run) {
  if (counter(run, "ratio") <= kMark) {
    return "ok";
  }
  return is_above(run) ? "ABOVE THE MARK" : run.report_label;
}

void print_measured(const Run &run) {
  const double us = counter(run, "us");
  print_name(run);
  std::printf("%11.1f%11.0f%9s%10.0f%11.1f%7.2f  %s\n", us, us * 1000 / counter(run, "flows"), "-",
              counter(run, "calls"), counter(run, "floor_us"), counter(run, "ratio"), mark_of(run).c_str());
}

void print_packets(const Run &run) {
  const double rate = counter(run, "items_per_second");
  print_name(run);
  std::printf("%11.2f%11.0f%9.2f%10s%11s%7s  -\n", 1e6 / rate, 1e9 / rate, rate * 1e-6, "-", "-", "-");
}

}  // namespace

bool Table::ReportContext(const Context &context) {
  utsname system{};
  uname(&system);
  std::printf("%s, %d cores, Linux %s, compiler %s\n\n", processor().c_str(), context.cpu_info.num_cpus, system.release,
              __VERSION__);
  std::printf("%-30s%13s%11s%11s%9s%10s%11s%7s  %s\n", "operation", "flows", "us", "ns a flow", "M/s", "calls",
              "floor us", "ratio", "mark");
  return true;
}

void Table::ReportRuns(const std::vector<Run> &runs) {
  for (const Run &run : runs) {
    if (run.error_occurred) {
      has_failures_ = true;
      std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
    } else if (run.run_type == Run::RT_Iteration) {
      const auto print = run.counters.contains("ratio") ? print_measured : print_packets;
      print(run);
      has_rows_above_ = has_rows_above_ || is_above(run);
    }
  }
}

}  // namespace bench
