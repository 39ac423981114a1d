# Set-up, build, demo and tests. Every target installs the packages it needs first, and only
# those (scripts/setup.sh names the groups).
BUILD      ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 300
FUZZ_CXX   ?= clang++-14
JOBS       ?= $(shell nproc)
DEMO_DIR   ?= demo-run

.PHONY: setup bench-setup build demo test test-asan test-tsan soak fuzz bench bench-rng bench-param bench-hp bench-inbred bench-anneal bench-pop bench-blup bench-ld bench-geno bench-export bench-gblup mutation clean

setup:
	@sh scripts/setup.sh build

build: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

# Runs the quick-start example in a scratch folder; its results land in $(DEMO_DIR)/r_quickstart/.
demo: build
	@sh scripts/setup.sh plots
	@mkdir -p $(DEMO_DIR)
	@cp examples/quickstart.prm $(DEMO_DIR)/
	@cd $(DEMO_DIR) && ../$(BUILD)/Davok quickstart.prm -o </dev/null

test: build
	@sh scripts/setup.sh plots tests
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# Unit and end-to-end tests again, built with AddressSanitizer and UndefinedBehaviorSanitizer.
test-asan: setup
	@sh scripts/setup.sh plots tests
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDAVOK_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		ctest --output-on-failure -j $(JOBS) -LE slow

# The tests that run every multi-threaded phase with two or more threads (historical workers,
# allele indexing, progeny genomes, LD statistics, the hand-over of worker errors), built with
# ThreadSanitizer; a report in a test or in a Davok it runs fails the test (about 35 seconds once built).
TSAN_TESTS = ^(HistoricalPopulation|IndexAlleles|LDStat|WorkerErrors|PopulationForms|HistoryRun|GenotypeFiles|LDFile|LDFromGenotypes|Driver)\.|^PopulationRun\.TheSame
test-tsan: setup
	@sh scripts/setup.sh plots tests
	@cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDAVOK_TSAN=ON >/dev/null
	@cmake --build $(TSAN_BUILD) -j $(JOBS) --target unit_tests cli_tests
	@cd $(TSAN_BUILD) && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
		ctest --output-on-failure -j $(JOBS) -R '$(TSAN_TESTS)'

# 50 replicates of tests/soak/soak.prm with the AddressSanitizer build, the number of replicates
# raised through nrep.txt during the run: no leak, and memory that does not grow from replicate
# to replicate (about 15 seconds once built; not part of CI).
soak: setup
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDAVOK_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS) --target Davok
	@python3 tests/soak/soak.py $(ASAN_BUILD)/Davok

# Fuzzes the parameter reader for FUZZ_SECONDS, starting from every parameter file of the tests
# and examples; findings land in $(FUZZ_BUILD) as crash-*, timeout-*, leak-* or oom-* files.
fuzz:
	@sh scripts/setup.sh build fuzz
	@cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=$(FUZZ_CXX) \
		-DDAVOK_FUZZ=ON >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target param_fuzz
	@mkdir -p $(FUZZ_BUILD)/corpus
	@cp tests/param/valid/*.prm tests/param/invalid/*.prm tests/param/warnings/*.prm examples/*.prm \
		$(FUZZ_BUILD)/corpus/
	@cd $(FUZZ_BUILD) && ./param_fuzz -max_total_time=$(FUZZ_SECONDS) -timeout=10 -rss_limit_mb=2048 \
		-close_fd_mask=3 -print_final_stats=1 corpus

# Mutation testing: MUTANTS (default 40) small faults planted in src/ and tools/ in a scratch copy
# (build-mutation/), each judged by the tests of its file; report in build-mutation/mutation-report.txt.
# ONLY="paths" draws the mutants from the files under those paths alone.
mutation: setup
	@sh scripts/setup.sh plots tests
	@/usr/bin/python3 scripts/mutation.py $(if $(MUTANTS),--mutants $(MUTANTS)) $(if $(ONLY),--only $(ONLY)) --jobs $(JOBS)

# Every benchmark; each prints its figures and their ratio to its reference.
bench: bench-param bench-rng bench-hp bench-inbred bench-anneal bench-pop bench-blup bench-ld bench-geno bench-export bench-gblup

# The references some benchmarks compare with: numpy (LD) and plink1.9 (export).
bench-setup: build
	@sh scripts/setup.sh bench

# Reading a parameter file with 200,000 predefined positions and numbers of alleles.
bench-param: build
	@$(BUILD)/bench/param_read_bench

# The historical population of bench/hp_1000x1000.prm with 1 and 2 threads against a plain copy
# of the same bytes, and its peak memory (about a minute).
bench-hp: build
	@$(BUILD)/bench/hp_bench

# Draws per second of the generator's deviates, and its raw output against std::mt19937.
bench-rng: build
	@$(BUILD)/bench/rng_bench

# Inbreeding of a 200,000-animal pedigree of 10 generations through the pedigree's calls, against
# 100,000 animals of 5 generations.
bench-inbred: build
	@$(BUILD)/bench/inbred_bench

# Annealing of matings (minf) for 200 sires x 2,000 dams over a synthetic coancestry table:
# time per generation and moves per second.
bench-anneal: build
	@$(BUILD)/bench/anneal_bench

# Ten generations of 10,000 progeny of bench/pop_10k.prm with 1 and 2 threads against a plain copy
# of the progeny's allele bytes, and its peak memory (about a minute).
bench-pop: build
	@$(BUILD)/bench/population_bench

# BLUP of a 200,000-animal pedigree of 10 generations, with every animal recorded and with the
# males unrecorded: time per evaluation and iterations.
bench-blup: build
	@$(BUILD)/bench/blup_bench

# LD by distance class on 2,000 founders: 20,000 markers with 1 and 2 threads, and every pair within
# 1 cM of 50,000 markers against a numpy popcount reference (about half a minute, mostly set-up).
bench-ld: bench-setup
	@$(BUILD)/bench/ld_bench

# The marker genotypes of 10,000 animals x 20,000 markers written as text, with /snp_code and with
# /binary, each against a plain fwrite of the same bytes.
bench-geno: build
	@$(BUILD)/bench/genotype_bench

# davok-export of 5,000, 10,000 and 15,000 animals x 20,000 markers to PLINK binary and VCF: time and peak memory
# against reading the input once and plink1.9 --make-bed (simulating the run takes about two
# minutes the first time; it is kept in $(BUILD)/bench/export_work).
bench-export: bench-setup
	@$(BUILD)/bench/export_bench

# davok-gblup on 5,000 animals x 20,000 markers (GBLUP and SNP-BLUP) against a reference of 4.3 s,
# and on 20,000 animals x 50,000 markers (SNP-BLUP): wall and processor time, peak memory.
bench-gblup: build
	@$(BUILD)/bench/gblup_bench

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD) $(DEMO_DIR)
