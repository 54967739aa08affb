#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer) into
# build-fuzz/, writes their seed corpora from the tests' own log builders, and runs each target.
#   scripts/fuzz.sh [SECONDS_PER_TARGET]     (default 300)
# Corpora grow in build-fuzz/corpus/<target>; a crash leaves its input in build-fuzz/crash-* and fails.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-300}
scripts/install-deps.sh clang
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DKELVANE_FUZZ=ON -DBUILD_TESTING=OFF >/dev/null
cmake --build build-fuzz -j2 --target fuzz_xml_reader fuzz_evtx_reader fuzz_seeds
corpus=build-fuzz/corpus
build-fuzz/bin/fuzz_seeds "$corpus/fuzz_xml_reader" "$corpus/fuzz_evtx_reader"
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for target in fuzz_xml_reader fuzz_evtx_reader; do
  echo "== $target for ${seconds}s"
  build-fuzz/bin/$target -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=200000 \
    -artifact_prefix=build-fuzz/ -print_final_stats=1 "$corpus/$target" 2>&1 | grep -v '^#[0-9]*.*\(NEW\|REDUCE\|pulse\)' || exit 1
done
