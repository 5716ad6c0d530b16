# Each target sees to its own set-up: packages that are missing are installed first.
.DEFAULT_GOAL := help
.PHONY: help demo check sanitize bench faults threads fuzz package try-packages abi abi-renew docs lint format clean

help: ## list the targets
	@sed -n 's/^\([a-z-]*\):.*## \(.*\)/make \1\t\2/p' $(MAKEFILE_LIST) | expand -t 20

demo: ## show the library at work on a simulated two-node cluster
	@scripts/setup build test
	@scripts/build dev cluster
	@scripts/demo build/dev

check: ## build everything and run every test
	@scripts/setup build test
	@scripts/build dev
	@ctest --preset dev

sanitize: ## run every test under AddressSanitizer and UndefinedBehaviorSanitizer
	@scripts/setup build test
	@scripts/build asan
	@ctest --preset asan

bench: ## set each operation against its floor; build/bench/report.json has the figures
	@scripts/setup build test bench
	@scripts/build bench benchmarks
	@scripts/bench build/bench

faults: ## make every system call and allocation of every operation fail, kill it at each, load it
	@scripts/setup build test
	@scripts/faults

threads: ## call every operation from eight threads at once under ThreadSanitizer
	@scripts/setup build test
	@scripts/build tsan load
	@build/tsan/faults/load threads 10

RUNS = 1000000
fuzz: ## run each fuzzer, RUNS=1000000 times
	@scripts/setup build test fuzz
	@scripts/build fuzz fuzzers
	@scripts/fuzz -runs=$(RUNS)

docs: ## make the manual of the public headers, in build/docs
	@scripts/setup docs
	@scripts/docs
	@echo "build/docs/html/index.html"

package: ## build the Debian packages into build/packages
	@scripts/setup build docs package
	@scripts/package

try-packages: package ## install the packages on this machine, try them, and remove them; as root
	@scripts/setup try
	@scripts/try-packages

abi: ## compare the ABI of the library with the stored one
	@scripts/setup build test abi
	@scripts/build dev tavohacore
	@scripts/abi build/dev

abi-renew: ## store the ABI of the library, where a change of it is meant
	@scripts/setup build test abi
	@scripts/build dev tavohacore
	@scripts/abi build/dev --renew

lint: ## check format, clang's warnings and clang-tidy over the whole tree
	@scripts/setup build test bench lint
	@scripts/lint

format: ## format every source file
	@scripts/setup lint
	@git ls-files '*.cc' '*.h' '*.c' | xargs clang-format -i

clean: ## remove what was built
	@rm -rf build
