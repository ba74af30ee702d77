# Sourced: names checks, runs them, counts them.

checks_passed=0
checks_failed=0

# check WHAT COMMAND...: passes when the command succeeds; its output is shown only when it does not.
check() {
    local what=$1 output
    shift
    if output=$("$@" 2>&1); then
        checks_passed=$((checks_passed + 1))
        echo "passed: $what"
    else
        checks_failed=$((checks_failed + 1))
        echo "FAILED: $what"
        sed 's/^/    /' <<<"$output"
    fi
}

# same EXPECTED ACTUAL: compares two texts whole and shows how they differ.
same() {
    diff -u --label expected <(printf '%s\n' "$1") --label actual <(printf '%s\n' "$2")
}

finish_checks() {
    echo "$checks_passed checks passed and $checks_failed failed"
    ((checks_failed == 0))
}
