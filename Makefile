# Each target sees to its own set-up: packages that are missing are installed first.
.DEFAULT_GOAL := help
.PHONY: help demo check sanitize lint format clean

help: ## list the targets
	@sed -n 's/^\([a-z]*\):.*## \(.*\)/make \1\t\2/p' $(MAKEFILE_LIST) | expand -t 16

demo: ## show the library at work on a simulated two-node cluster
	@scripts/setup build
	@scripts/build dev
	@scripts/demo build/dev

check: ## build everything and run every test
	@scripts/setup build test
	@scripts/build dev
	@ctest --preset dev

sanitize: ## run every test under AddressSanitizer and UndefinedBehaviorSanitizer
	@scripts/setup build test
	@scripts/build asan
	@ctest --preset asan

lint: ## check format, clang's warnings and clang-tidy over the whole tree
	@scripts/setup build test lint
	@scripts/lint

format: ## format every source file
	@scripts/setup lint
	@git ls-files '*.cc' '*.h' '*.c' | xargs clang-format -i

clean: ## remove what was built
	@rm -rf build
