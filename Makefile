# Everything a developer types. Each target installs what it misses first (scripts/setup says what).
.PHONY: build demo test package soak bench microbench fuzz format clean

build: setup
	cmake --preset release
	cmake --build --preset release

demo: build
	scripts/demo

test: setup
	cmake --preset debug
	cmake --build --preset debug
	ctest --preset debug

# A Debian package, one of the library, and a tarball, in build/packages.
package: build
	cpack --config build/release/CPackConfig.cmake -B build/packages

# Power cuts, kills, load and answers, for SECONDS= (300 unless given). SEED= does the same cases again;
# CORPUS=/some/tree kills runs on copies of that tree.
soak: build
	scripts/setup --soak
	cmake --preset debug
	cmake --build --preset debug --target power_tests
	CODETEXT_CUTS=200 $(if $(SEED),CODETEXT_SEED=$(SEED)) build/debug/tests/power_tests
	scripts/soak $(if $(SECONDS),--seconds $(SECONDS)) $(if $(SEED),--seed $(SEED)) \
	    $(if $(CORPUS),--corpus "$(CORPUS)")

# CORPUS=/some/tree measures a copy of that tree and leaves docs/ as it is.
bench: build
	scripts/setup --bench
	bench/run $(if $(CORPUS),"$(CORPUS)",--publish)

# INPUT=/some/directory takes other text than the project's own.
microbench: setup
	cmake --preset bench
	cmake --build --preset bench
	$(if $(INPUT),CODETEXT_BENCH_INPUT="$(INPUT)") build/bench/bench/codetext_benchmarks

# FUZZ_SECONDS=600 gives each target so long, not a minute.
fuzz:
	scripts/setup --fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	fuzz/run

format:
	git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	cmake -E rm -rf build

.PHONY: setup
setup:
	scripts/setup
