# Everything a developer types. Each target installs what it misses first (scripts/setup says what).
.PHONY: build demo test bench format clean

build: setup
	cmake --preset release
	cmake --build --preset release

demo: build
	scripts/demo

test: setup
	cmake --preset debug
	cmake --build --preset debug
	ctest --preset debug

bench: build
	scripts/setup --bench
	bench/run

format:
	git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	cmake -E rm -rf build

.PHONY: setup
setup:
	scripts/setup
