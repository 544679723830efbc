# xo format and xo check: layout, encodings, standard input, failures.
. "$(dirname "$0")/common.bash"

expect_status 0 "$XO" format "$EXAMPLES/sample.xml"
expect_out $'<catalog xmlns="urn:example:catalog"'
expect_out $'  <book id="b2" status="out of print">\r'
expect_out $'<dc:title>Fish &amp; Chips &#8211; a history</dc:title>'
cp "$T/out" "$T/formatted"

# Formatting is stable: the formatted text formats to itself.
expect_status 0 "$XO" format "$T/formatted"
cmp -s "$T/out" "$T/formatted" || fail "formatting the formatted output changed it"

# Standard input, and the other encodings of the sample give the same text.
expect_status 0 sh -c "\"$XO\" format - < \"$EXAMPLES/sample.xml\""
cmp -s "$T/out" "$T/formatted" || fail "format from standard input differs"
expect_status 0 "$XO" format "$EXAMPLES/sample-utf16le.xml"
expect_out $'Saint-Exup\xc3\xa9ry'
expect_status 0 "$XO" format "$EXAMPLES/sample-windows1252.xml"
expect_out $'Saint-Exup\xc3\xa9ry'
expect_out "encoding='UTF-8'"

# --plain adds no layout; --encoding writes another encoding and says so.
printf '<a>\n  <b  x="1"/>\n</a>' >"$T/p.xml"
expect_status 0 "$XO" format --plain "$T/p.xml"
[ "$(cat "$T/out")" = '<a><b x="1" /></a>' ] || fail "plain output: $(cat "$T/out")"
printf '<?xml version="1.0"?><a>\303\251</a>' >"$T/e.xml"
expect_status 0 "$XO" format --plain --encoding windows-1252 "$T/e.xml"
[ "$(cat "$T/out")" = "$(printf '<?xml version="1.0" encoding="windows-1252"?><a>\351</a>')" ] ||
  fail "windows-1252 output: $(od -c "$T/out" | head -3)"

# Usage errors exit 2.
expect_status 2 "$XO" format
expect_status 2 "$XO" format --bogus "$T/p.xml"
expect_status 2 "$XO" format --encoding no-such-thing "$T/p.xml"
expect_status 2 "$XO" check a b

# check: silent success, positioned failures.
expect_status 0 "$XO" check "$EXAMPLES/sample.xml"
[ -s "$T/out" ] && fail "check printed something on success"
printf '<a>\n  <b x=></b>\n</a>' >"$T/bad.xml"
expect_status 1 "$XO" check "$T/bad.xml"
expect_err "$T/bad.xml:2:8: The document is not wellformed!"
expect_status 1 "$XO" format "$T/bad.xml"
expect_err "bad.xml:2:8:"
expect_status 1 sh -c "printf '<a></a><b/>' | \"$XO\" check -"
expect_err "-:1:8:"
expect_status 1 "$XO" check "$T/missing.xml"
expect_err "Cannot open file"

# A deep document formats without trouble.
awk 'BEGIN { for (i = 0; i < 100000; i++) printf "<n>"; for (i = 0; i < 100000; i++) printf "</n>" }' >"$T/deep.xml"
expect_status 0 "$XO" check "$T/deep.xml"
expect_status 0 "$XO" format --plain "$T/deep.xml"

# Output that cannot be written is an error.
if [ -e /dev/full ]; then
  expect_status 3 sh -c "\"$XO\" format \"$EXAMPLES/sample.xml\" > /dev/full"
fi
done_tests
