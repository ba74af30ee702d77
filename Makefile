# The few things that a person types. What they need and is missing is installed first, from Debian's
# packages alone.

.PHONY: run test docs packages reproducible bench bench-trees crash powercut trace-page fuzz faults \
        analyze coverage valgrind hardened format clean install-packages
.NOTPARALLEL:

# Builds the command and shows what it does, to a real tree.
run:
	@scripts/install-packages.sh run
	@scripts/demo.sh

# All builds, all tests. The last line is the sum.
test:
	@scripts/install-packages.sh test
	@scripts/test.sh

# The reference of every public name, in build/docs/html. Fails when one is not described.
docs:
	@scripts/install-packages.sh docs
	@mkdir -p build && doxygen Doxyfile
	@echo "build/docs/html/index.html"

# Debian's packages, and the archives for Windows: in build/packages.
packages:
	@scripts/install-packages.sh packages
	@for platform in linux windows; do \
	    cmake --preset $$platform >/dev/null && \
	    cmake --build --preset $$platform --target kest kest_command && \
	    scripts/packages.sh $$platform >/dev/null || exit 1; \
	done
	@ls build/packages

# That the same packages come out of another folder at another time, byte by byte. Builds the library
# four times.
reproducible:
	@scripts/install-packages.sh packages
	@for platform in linux windows; do package/reproducible.sh $$platform || exit 1; done

# How long things take. Not part of the tests: a busy machine would fail them.
bench:
	@scripts/install-packages.sh bench
	@scripts/bench.sh

# What is found after a kill at any moment, on four file systems. Takes a quarter of an hour.
crash:
	@scripts/install-packages.sh powercut
	@cmake --preset linux >/dev/null
	@cmake --build --preset linux --target kest_command
	@scripts/crash.sh

# What is found after a power cut at any moment, on four file systems. Takes half an hour; needs root.
powercut:
	@scripts/install-packages.sh powercut
	@cmake --preset linux -DKEST_BUILD_POWERCUT=ON >/dev/null
	@cmake --build --preset linux --target kest_command kest_powercut
	@scripts/powercut.sh

# Everything that reads a text from outside, on texts that nobody has thought of: a minute each, or
# FUZZ_SECONDS.
fuzz:
	@scripts/install-packages.sh fuzz
	@cmake --preset fuzz >/dev/null && cmake --build --preset fuzz
	@scripts/fuzz.sh

# What is found after any system call of a change has failed, on four file systems. Takes a quarter of an
# hour; needs root.
faults:
	@scripts/install-packages.sh powercut
	@cmake --preset linux >/dev/null
	@cmake --build --preset linux --target kest_command kest_tests
	@build/linux/kest_tests --gtest_filter='*Matrix*' --gtest_brief=1
	@scripts/faults.sh

# Mistakes that can be found without running anything.
analyze:
	@scripts/install-packages.sh analyze
	@scripts/analyze.sh

# Which lines no test reaches.
coverage:
	@scripts/install-packages.sh coverage
	@scripts/coverage.sh

# What is lost on purpose, and that nothing else is.
valgrind:
	@scripts/install-packages.sh valgrind
	@scripts/valgrind.sh

# The Windows tests once more, in a build in which every undefined behaviour ends the program.
hardened:
	@scripts/install-packages.sh test
	@cmake --preset windows-hardened >/dev/null && cmake --build --preset windows-hardened
	@cmake/wine-prefix.sh start && ctest --preset windows-hardened -j "$$(nproc)"; \
	    status=$$?; cmake/wine-prefix.sh stop; exit $$status

# Copies, replacements and deletions of whole trees against the system's own commands, on file systems
# in images: needs root, 15 GiB of disk and a quiet machine. TREES=--fs=ext4 and the like choose.
bench-trees:
	@scripts/install-packages.sh bench-trees
	@cmake --preset bench >/dev/null && cmake --build --preset bench --target kest_trees kest_trees_untraced >/dev/null
	@scripts/bench-trees.py --counts --memory --report build/bench/trees.md $(TREES)

# The page that shows a trace, in a browser without a window: what it shows, and how quickly. Leaves
# pictures of it in build/trace-page.
trace-page:
	@scripts/install-packages.sh trace-page
	@cmake --preset linux >/dev/null
	@cmake --build --preset linux --target kest_command kest_trace_sample
	@scripts/trace-page-test.sh

# Every source in the house style.
format:
	@scripts/install-packages.sh format
	@git ls-files --cached --others --exclude-standard '*.cpp' '*.h' '*.c' | xargs clang-format -i

clean:
	@cmake/wine-prefix.sh stop
	rm -rf build

# Everything that any of the goals above needs.
install-packages:
	@scripts/install-packages.sh test
	@scripts/install-packages.sh docs
	@scripts/install-packages.sh bench
	@scripts/install-packages.sh bench-trees
	@scripts/install-packages.sh format
