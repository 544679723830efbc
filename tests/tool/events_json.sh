# xo events on JSON and form URL-encoded text.
. "$(dirname "$0")/common.bash"

expect_status 0 "$XO" events "$EXAMPLES/sample.json"
expect_out $'StartMember\tstore'
expect_out $'Value\tnumber\t4.50'
expect_out $'Value\tstring\tCorner \\\\"Books'
expect_out $'Value\tnull\tnull'
expect_out 'EndDocument'
cp "$T/out" "$T/from-file"

# Standard input and a pipe give the same events as the file.
expect_status 0 sh -c "\"$XO\" events - < \"$EXAMPLES/sample.json\""
cmp -s "$T/out" "$T/from-file" || fail "JSON events from standard input differ from the file's"
expect_status 0 sh -c "cat \"$EXAMPLES/sample.json\" | \"$XO\" events /dev/stdin"
cmp -s "$T/out" "$T/from-file" || fail "JSON events from a pipe differ from the file's"

# UTF-16 without a byte-order mark is found by its zero bytes.
printf '[\0001\000]\000' >"$T/utf16.json"
expect_status 0 "$XO" events "$T/utf16.json"
expect_out $'Value\tnumber\t1'

# Not well formed, and cut off: FatalError with line and column, exit 1.
printf '{"a":\n  x}' >"$T/bad.json"
expect_status 1 "$XO" events "$T/bad.json"
expect_out $'FatalError\t2\t3\tThe document is not wellformed!'
printf '[1, [2' >"$T/cut.json"
expect_status 1 "$XO" events "$T/cut.json"
expect_out $'FatalError\t-1\t-1\tUnexpected end of input!'

# --json forces JSON, --form reads form text.
printf '  <x>' >"$T/lt.json"
expect_status 1 "$XO" events --json "$T/lt.json"
expect_out 'FatalError'
printf 'a[]=1&a[]=x+y' >"$T/form.txt"
expect_status 0 "$XO" events --form "$T/form.txt"
expect_out $'StartMember\ta'
expect_out $'Value\tstring\tx y'
expect_status 2 "$XO" events --nosuchoption "$T/form.txt"

# XML still goes to the XML reader.
expect_status 0 "$XO" events "$EXAMPLES/sample.xml"
expect_out 'StartElement'

done_tests
