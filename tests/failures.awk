# SPDX-License-Identifier: MIT
# Reads CTest's LastTest.log and prints, for each failed test, its failed
# checks and the last lines it printed: a short account that fits the end of
# a log cut in the middle.
/^[0-9]+\/[0-9]+ Test: / { name = $3; n = 0; checks = ""; inout = 0; next }
/^Output:$/ { inout = 1; next }
/^<end of output>$/ { inout = 0; next }
inout && /^-+$/ && n == 0 { next }
inout {
    line = substr($0, 1, 240)
    tail[n % 5] = line; n++
    if (line ~ /^(FAIL!|XPASS|QFATAL)|^   Loc: |ERROR: [A-Za-z]+Sanitizer|runtime error:|^SUMMARY: /)
        if (length(checks) < 2000) checks = checks "  " line "\n"
    next
}
/^Test Failed\.$/ {
    printf "== %s failed\n%s", name, checks
    print "  ... its last lines:"
    for (i = (n > 5 ? n - 5 : 0); i < n; i++) print "  " tail[i % 5]
}
