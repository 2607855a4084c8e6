#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs each fuzz target on its seed corpus for SECONDS (or until RUNS
# executions, when given) and prints one table: runs, speed, corpus size
# and findings per target (in FUZZ_TABLE, if set). A finding (crash, leak, time-out, memory) is
# left in BUILD/findings/TARGET/; the exit status is 1 if there is any.
#   fuzz/fuzz-all.sh BUILD SECONDS RUNS TARGET...
set -u
build=$1 seconds=$2 runs=$3
shift 3
table=${FUZZ_TABLE:-$build/fuzz-table.txt}
printf '| Target | Seconds | Runs | Runs/s | Corpus | Findings |\n|---|---:|---:|---:|---:|---:|\n' > "$table"
found=0
for target in "$@"; do
    work=$build/corpus/$target
    findings=$build/findings/$target
    log=$build/fuzz-$target.log
    mkdir -p "$work" "$findings"
    before=$(ls "$findings" | wc -l)
    echo "== fuzz_$target: ${seconds} s${runs:+ or $runs runs}"
    start=$(date +%s)
    # New inputs go to the first directory; the committed seeds stay as they are.
    "$build/fuzz/fuzz_$target" -max_total_time="$seconds" ${runs:+-runs=$runs} -timeout=10 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$work" "fuzz/corpus/$target" > "$log" 2>&1
    status=$?
    elapsed=$(( $(date +%s) - start ))
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
    corpus=$(ls "$work" | wc -l)
    new=$(( $(ls "$findings" | wc -l) - before ))
    if [ "$status" -ne 0 ] && [ "$new" -eq 0 ]; then
        # Stopped without leaving an input behind: still something to look at.
        new=1
        echo "fuzz_$target stopped with status $status; see $log"
    fi
    [ "$new" -eq 0 ] || { found=1; tail -n 30 "$log"; }
    printf '| %s | %s | %s | %s | %s | %s |\n' "$target" "$elapsed" "${executed:-?}" "${speed:-?}" "$corpus" "$new" >> "$table"
done
echo
cat "$table"
exit $found
