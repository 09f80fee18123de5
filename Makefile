# Tavlin: the top-level entry. CMake does the building; this file names the jobs.
JOBS      ?= 2
BUILD     := build
ASAN      := build-asan
WINOBJ    := build-windows
MINGW_CXX ?= x86_64-w64-mingw32-g++
FUZZ_SECONDS ?= 60

.PHONY: all deps test test-release test-sanitize demo bench fuzz windows-check clean

all: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

deps:
	@tools/install-deps.sh

test: test-release test-sanitize windows-check

test-release: all
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-sanitize: deps
	@cmake -S . -B $(ASAN) -DCMAKE_BUILD_TYPE=Debug -DTAVLIN_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN) -j $(JOBS)
	@cd $(ASAN) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

demo: all
	@$(BUILD)/tavlin demo

bench: all
	@$(BUILD)/tavlin-bench

# Every fuzz target (fuzz/, built with clang and libFuzzer) for FUZZ_SECONDS each, one
# after another; stops at the first finding and says how to reproduce it.
fuzz: deps
	@tools/install-deps.sh fuzz
	@FUZZ_SECONDS=$(FUZZ_SECONDS) JOBS=$(JOBS) fuzz/run.sh

# The core must stay portable to the Windows COM server: every file of src/ compiles with MinGW.
windows-check: deps
	@mkdir -p $(WINOBJ)
	@find src -name '*.cpp' | sort | xargs -P $(JOBS) -I{} sh -c \
	  '$(MINGW_CXX) -std=c++20 -Wall -Wextra -Werror -Iinclude -Isrc -c {} -o $(WINOBJ)/$$(echo {} | tr / _).o || exit 255'
	@echo "windows-check: every file of src/ compiles with $(MINGW_CXX)"

clean:
	rm -rf $(BUILD) $(ASAN) $(WINOBJ) build-fuzz demo-out
