# Tavlin: the top-level entry. CMake does the building; this file names the jobs.
JOBS      ?= 2
BUILD     := build
ASAN      := build-asan
WINOBJ    := build-windows
MINGW_CXX ?= x86_64-w64-mingw32-g++
FUZZ_SECONDS ?= 60

.PHONY: all deps test check test-release test-sanitize demo bench fuzz fuzz-short windows-check clean com com-dlls com-test

all: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

deps:
	@tools/install-deps.sh

# The native suite on the Release build: what a developer runs before every commit.
test: test-release

# Everything else a change must pass before it lands: the suite again under the
# sanitizers, the Windows build of the core, the COM server under Wine, and every fuzz
# target for a short while. CI runs `make test check`.
check: test-sanitize windows-check com-test fuzz-short

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

# Each fuzz target briefly, from its corpus: a smoke run, not a campaign.
fuzz-short:
	@$(MAKE) --no-print-directory fuzz FUZZ_SECONDS=20

# The core must stay portable to the Windows COM server: every file of src/ compiles with MinGW.
windows-check: deps
	@mkdir -p $(WINOBJ)
	@find src -name '*.cpp' | sort | xargs -P $(JOBS) -I{} sh -c \
	  '$(MINGW_CXX) -std=c++20 -Wall -Wextra -Werror -Iinclude -Isrc -c {} -o $(WINOBJ)/$$(echo {} | tr / _).o || exit 255'
	@echo "windows-check: every file of src/ compiles with $(MINGW_CXX)"

clean:
	rm -rf $(BUILD) $(ASAN) $(WINOBJ) build-fuzz demo-out $(COM_BUILD)

# The COM server Tavlin.dll for 32- and 64-bit Windows (rules in com/com.mk).
com: deps
	@tools/install-deps.sh com
	@$(MAKE) --no-print-directory -j $(JOBS) com-dlls
	@echo "com: $(COM_BUILD)/i686/Tavlin.dll $(COM_BUILD)/x86_64/Tavlin.dll"

# Under Wine, in a private prefix: the DLLs' exports and type library checked, the
# registration round trip compared in registry exports, then every com/tests/*.vbs run
# by cscript as a host would and the C++ host of com/tests/host.cpp, each passing only
# when its last line is "PASS <name>"; last, their files against the tavlin command's.
com-test: com
	@tools/install-deps.sh com-test
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) --target tavlin-cli -j $(JOBS)
	@com/tests/setup.sh $(COM_BUILD)
	@for t in com/tests/*.vbs com/tests/host.cpp; do \
	  name=$$(basename $${t%.*}); out=$(COM_BUILD)/test/$$name.out; \
	  case $$t in *.vbs) com/tests/cscript.sh $(COM_BUILD) $$t ;; *) com/tests/host.sh $(COM_BUILD) ;; esac > $$out 2>&1; \
	  if tail -n 1 $$out | tr -d '\r' | grep -qx "PASS $$name"; then echo "com-test: $$name passed"; \
	  else cat $$out; echo "com-test: $$name FAILED: its last line is not PASS $$name (Wine's cscript stops silently at a script error)"; exit 1; fi; \
	done
	@com/tests/compare.sh $(COM_BUILD) $(BUILD)/tavlin

include com/com.mk
