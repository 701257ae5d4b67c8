// SPDX-License-Identifier: Apache-2.0
// The executable's malloc, calloc and free come before the C library's (or the sanitizer's), to which they pass on.
#include "tests/support/allocations.h"

#include <link.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

extern "C" {
void *__libc_malloc(size_t bytes);
void *__libc_calloc(size_t count, size_t size);
void __libc_free(void *block);
[[gnu::weak]] void *__interceptor_malloc(size_t bytes);
[[gnu::weak]] void *__interceptor_calloc(size_t count, size_t size);
[[gnu::weak]] void __interceptor_free(void *block);
}

namespace {

struct Plan {
  uint64_t nth = 0;  // coming allocation that fails; 0: none
  bool from_then_on = false;
};

// Constant initialisation throughout: allocations start before any constructor runs.
Plan plans[2];
size_t failing_bytes = SIZE_MAX;  // length that fails
uint64_t failed = 0;
int64_t blocks = 0;
int64_t bytes_now = 0;
int64_t bytes_most = 0;
const void *newest = nullptr;
uintptr_t library_begin = 0;
uintptr_t library_end = 0;

int find_library(dl_phdr_info *object, size_t /*size*/, void * /*unused*/) {
  if (std::string_view(object->dlpi_name).find("/liboftab.so") == std::string_view::npos) {
    return 0;
  }
  library_begin = object->dlpi_addr;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr) &segment = object->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD) {
      library_end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
    }
  }
  return 1;
}

// Runs before main, when the libraries are loaded.
[[gnu::constructor]] void find_library_range() {
  dl_iterate_phdr(find_library, nullptr);
}

bool is_library(const void *caller) {
  const auto address = reinterpret_cast<uintptr_t>(caller);
  return library_begin <= address && address < library_end;
}

bool strikes(Plan &plan) {
  const bool now = plan.nth == 1;
  if (plan.nth > 1 || (now && !plan.from_then_on)) {
    --plan.nth;
  }
  return now;
}

bool strikes(size_t bytes) {
  const bool first = strikes(plans[0]);
  const bool second = strikes(plans[1]);
  return first || second || bytes == failing_bytes;
}

// Whether an allocation goes on. The library's are counted.
bool admit(const void *caller, size_t bytes) {
  const bool counted = is_library(caller);
  const bool fails = counted && strikes(bytes);
  failed += fails ? 1 : 0;
  blocks += counted && !fails ? 1 : 0;
  return !fails;
}

// The block, remembered and counted when it is the library's.
void *noted(const void *caller, void *block) {
  if (is_library(caller)) {
    newest = block;
    bytes_now += static_cast<int64_t>(malloc_usable_size(block));
    bytes_most = std::max(bytes_most, bytes_now);
  }
  return block;
}

}  // namespace

extern "C" void *malloc(size_t bytes) noexcept {
  const auto allocate = __interceptor_malloc != nullptr ? __interceptor_malloc : __libc_malloc;
  const void *caller = __builtin_return_address(0);
  return admit(caller, bytes) ? noted(caller, allocate(bytes)) : nullptr;
}

extern "C" void *calloc(size_t count, size_t size) noexcept {
  const auto allocate = __interceptor_calloc != nullptr ? __interceptor_calloc : __libc_calloc;
  const void *caller = __builtin_return_address(0);
  return admit(caller, count * size) ? noted(caller, allocate(count, size)) : nullptr;
}

extern "C" void free(void *block) noexcept {
  if (block != nullptr && is_library(__builtin_return_address(0))) {
    --blocks;
    bytes_now -= static_cast<int64_t>(malloc_usable_size(block));
  }
  (__interceptor_free != nullptr ? __interceptor_free : __libc_free)(block);
}

namespace test {

void fail_allocation(uint64_t nth, bool from_then_on) {
  plans[plans[0].nth == 0 ? 0 : 1] = {nth, from_then_on};
}

void fail_allocations_of(size_t bytes) {
  failing_bytes = bytes;
}

void let_allocations_pass() {
  plans[0] = plans[1] = {};
  failing_bytes = SIZE_MAX;
}

uint64_t failed_allocations() {
  return failed;
}

int64_t allocated_blocks() {
  return blocks;
}

int64_t peak_bytes() {
  return std::exchange(bytes_most, bytes_now);
}

const void *newest_block() {
  return newest;
}

}  // namespace test
