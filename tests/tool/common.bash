# Helpers for the tool tests: source this, then call expect_* functions.
# $XO is the tool, $EXAMPLES the examples folder, $T a scratch folder.
set -u
XO="$1"; EXAMPLES="$2"
T=$(mktemp -d); trap 'rm -rf "$T"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }
# expect_status WANT CMD...: runs CMD, output to $T/out and $T/err.
expect_status() {
  local want=$1; shift
  "$@" >"$T/out" 2>"$T/err"; local got=$?
  [ "$got" = "$want" ] || fail "exit $got, expected $want: $* (stderr: $(head -c 300 "$T/err"))"
}
expect_out() { grep -qF -- "$1" "$T/out" || fail "output lacks '$1'"; }
expect_err() { grep -qF -- "$1" "$T/err" || fail "stderr lacks '$1': $(head -c 300 "$T/err")"; }
done_tests() { [ "$failures" = 0 ] && echo "all tool checks passed"; exit "$failures"; }
