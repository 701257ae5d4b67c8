# SPDX-License-Identifier: Apache-2.0
# make run        build, generate a campus (FLOWS=1000 PACKETS=5000 SEED=1), and run it on the switch
# make test       build and run all tests (TESTS='-R NAME' or '-E NAME': those alone, or all but those)
# make sanitize   the same under the address and undefined-behaviour sanitizers
# make clang      the same with clang++
# make fuzz       fuzz with each target (FUZZ_SECONDS=60)
# make bench      measure against the floor, and fail above it (BENCH_SECONDS=0.1 for each row; shorter runs only tell)
# make bench-openflow  flow-mods and dumps through a socket
# make bench-frames    frames and pings through interfaces (as root)
# make coverage   lines and branches of the library that the tests reach
# make mutate     change the library in one place at a time, and tell what no test notices (SAMPLE=100; SAMPLE= for all;
#                 RESUME=1 to go on)
# make soak       a switch's life in random steps (STEPS=100000; SOAK_SEED=N; PRESET=sanitize or UNDER=valgrind)
# make lint       check format and licence lines, and run clang-tidy
# make demo       three switches and four hosts in Mininet, under a controller (as root)
# make debs       make Debian packages in build/packages
# make clean      remove what was built
# make help       print this
#
# Missing Debian packages are installed first.

PACKAGES := g++ cmake ninja-build pkg-config python3 libcli11-dev libpcap-dev libedit-dev libgtest-dev libgmock-dev \
  libbenchmark-dev abigail-tools dpkg-dev libasio-dev libssl-dev openvswitch-common openvswitch-testcontroller \
  python3-os-ken python3-pexpect openssl iproute2 iputils-ping
CLANG_PACKAGES := clang libclang-rt-dev
FORMAT_PACKAGES := clang-format
TIDY_PACKAGES := clang-tidy
VALGRIND_PACKAGES := valgrind
DEMO_PACKAGES := mininet python3-os-ken openvswitch-common iproute2 iputils-ping

FLOWS ?= 1000
PACKETS ?= 5000
SEED ?= 1
FUZZ_SECONDS ?= 60
BENCH_SECONDS ?= 0.1
TESTS ?=
SAMPLE ?= 100
RESUME ?=
STEPS ?= 100000
PRESET ?= release
SOAK_SEED ?= random
UNDER ?=
VALGRIND = valgrind -q --error-exitcode=9 --suppressions=tools/valgrind.supp

SOURCES = $(shell find lib platform host agent app tests fuzz bench examples -name '*.h' -o -name '*.c' -o -name '*.cc')
LICENSED = $(SOURCES) Makefile .ci/run $(shell find . -path ./build -prune -o \( -name '*.py' -o -name '*.sh' \
  -o -name '*.bash' -o -name CMakeLists.txt \) -print)

# Packages are installed by one run of apt-get at a time; CMake builds in parallel.
.NOTPARALLEL:
.PHONY: help run test sanitize clang fuzz bench bench-openflow bench-frames coverage mutate soak lint format-check tidy \
  demo debs clean root sample packages clang-packages format-packages tidy-packages valgrind-packages demo-packages

run: configure-release
	cmake --build --preset release --target oftab-switch
	python3 -B examples/generate.py --flows $(FLOWS) --packets $(PACKETS) --seed $(SEED) build/example
	build/release/bin/oftab-switch run examples/campus.oftab

test: test-release

sanitize: test-sanitize

clang: test-clang

fuzz: test-fuzz

configure-clang configure-fuzz: clang-packages

bench: configure-release
	cmake --build --preset release --target oftab_bench
	build/release/bin/oftab_bench --benchmark_min_time=$(BENCH_SECONDS)

bench-openflow: configure-release
	cmake --build --preset release --target oftab-switch oftab_openflow_client
	python3 -B bench/openflow.py build/release/bin/oftab-switch build/release/bin/oftab_openflow_client

bench-frames: root configure-release
	cmake --build --preset release --target oftab-switch oftab_frame_flood
	python3 -B bench/frames.py build/release/bin/oftab-switch build/release/bin/oftab_frame_flood

coverage: configure-coverage
	cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	python3 -B tools/coverage/report.py build/coverage

mutate: sample build-coverage build-release
	python3 -B tools/mutation/mutate.py build/coverage build/release $(SAMPLE:%=--sample %) $(RESUME:%=--resume)

soak: configure-$(PRESET) $(if $(UNDER),$(UNDER)-packages)
	cmake --build --preset $(PRESET) --target oftab_test
	python3 -B tools/soak.py $(STEPS) $(SOAK_SEED) $(if $(UNDER),$(VALGRIND)) build/$(PRESET)/bin/oftab_test --gtest_filter='Model.*'

lint: format-check tidy

format-check: format-packages
	@clang-format --dry-run --Werror $(SOURCES)
	@! grep -L 'SPDX-License-Identifier: Apache-2.0' $(LICENSED) | sed 's/$$/ lacks its licence line/' | grep . >&2

tidy: tidy-packages configure-release
	python3 -B tools/tidy.py build/release

# Debian's own Python, which has Debian's packages; examples/mininet.py must not stand in for one of them (-P).
demo: root demo-packages configure-release
	cmake --build --preset release --target oftab-switch
	/usr/bin/python3 -P -B examples/demo.py build/release/bin/oftab-switch

root:
	@[ "$$(id -u)" = 0 ] || { echo "make $(MAKECMDGOALS) needs root: it makes network namespaces" >&2; exit 1; }

sample:
	@case '$(SAMPLE)' in 0* | *[!0-9]*) echo "SAMPLE is a number from 1, or empty for all, not '$(SAMPLE)'" >&2; exit 1;; esac

# The same commit makes the same packages: their files carry its date.
debs: build-release
	cd build/release && \
	  SOURCE_DATE_EPOCH=$${SOURCE_DATE_EPOCH:-$$(git log -1 --format=%ct 2>/dev/null || date +%s)} cpack -B ../packages

help:
	@sed -n '2,/^$$/s/^# \{0,1\}//p' Makefile

clean:
	rm -rf build

test-%: build-%
	ctest --preset $* $(TESTS)

build-%: configure-%
	cmake --build --preset $*

configure-%: packages
	cmake --preset $* $(DEFINITIONS)

configure-fuzz: DEFINITIONS = -D OFTAB_FUZZ_SECONDS=$(FUZZ_SECONDS)

packages: NEEDED = $(PACKAGES)
clang-packages: NEEDED = $(CLANG_PACKAGES)
format-packages: NEEDED = $(FORMAT_PACKAGES)
tidy-packages: NEEDED = $(TIDY_PACKAGES)
valgrind-packages: NEEDED = $(VALGRIND_PACKAGES)
demo-packages: NEEDED = $(DEMO_PACKAGES)
packages clang-packages format-packages tidy-packages valgrind-packages demo-packages:
	@missing=; for package in $(NEEDED); do \
	  dpkg-query -W -f '$${Status}' $$package 2>/dev/null | grep -q ' installed$$' || missing="$$missing $$package"; \
	done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then root=; else root=sudo; fi; \
	  $$root apt-get update && \
	  $$root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	fi
