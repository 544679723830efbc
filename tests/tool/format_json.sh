# xo format and xo check on JSON documents.
. "$(dirname "$0")/common.bash"

expect_status 0 "$XO" check "$EXAMPLES/sample.json"
expect_status 0 "$XO" format --compact "$EXAMPLES/sample.json"
expect_out '{"store": {"name": "Corner \"Books\"", "open": true, "rating": 4.50,'
cp "$T/out" "$T/compact"

# Formatting is stable: the formatted text formats to itself and compacts
# to the same line.
expect_status 0 "$XO" format "$EXAMPLES/sample.json"
expect_out '    "name": "Corner \"Books\"", "open": true'
cp "$T/out" "$T/formatted.json"
expect_status 0 "$XO" format "$T/formatted.json"
cmp -s "$T/out" "$T/formatted.json" || fail "formatting the formatted text changed it"
expect_status 0 sh -c "\"$XO\" format --compact - < \"$T/formatted.json\""
cmp -s "$T/out" "$T/compact" || fail "the formatted text compacts to another line"

# Failures carry file, line and column; a cut-off text ends at its end.
printf '{"a":\n  x}' >"$T/bad.json"
expect_status 1 "$XO" check "$T/bad.json"
expect_err "$T/bad.json:2:3: The document is not wellformed!"
printf '[1,\n [2' >"$T/cut.json"
expect_status 1 "$XO" check "$T/cut.json"
expect_err "$T/cut.json:2:4: Unexpected end of input!"
printf '12' >"$T/scalar.json"
expect_status 1 "$XO" format "$T/scalar.json"
expect_err "object or an array"
expect_status 1 "$XO" check "$T/missing.json"
expect_err "Cannot open file"

# --json forces JSON; without it XML goes to the XML loader.
printf '  <a/>' >"$T/lt.txt"
expect_status 1 "$XO" check --json "$T/lt.txt"
expect_status 0 "$XO" check "$EXAMPLES/sample.xml"
expect_status 2 "$XO" format --nosuch "$EXAMPLES/sample.json"

done_tests
