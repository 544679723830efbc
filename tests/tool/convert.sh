# xo convert: XML as JSON, JSON as XML.
. "$(dirname "$0")/common.bash"

# XML to JSON: the root element as one object, formatted unless --plain.
printf '<r id="1"><a>1</a><a>2</a><b x="y">t</b><c/></r>' >"$T/in.xml"
expect_status 0 "$XO" convert --to json --plain "$T/in.xml"
[ "$(cat "$T/out")" = '{"r": {"r_id": "1","a": ["1","2"],"b": "t", "b_x": "y","c": null}}' ] ||
  fail "plain JSON: $(cat "$T/out")"
expect_status 0 "$XO" convert --to json "$T/in.xml"
expect_out '    "a": ['
grep -q $'\r$' "$T/out" || fail "formatted JSON has no CR LF line ends"

# JSON to XML through the JSON-as-XML mapping; standard input and a pipe
# give the same output as the file.
printf '{"a":[1,"x"],"b":{"c":null},"d":true}' >"$T/in.json"
expect_status 0 "$XO" convert --to xml --plain "$T/in.json"
expect_out '<aArray><a xsd:type="decimal">1</a><a xsd:type="string">x</a></aArray><b><c xsi:nil="true">null</c></b><d xsd:type="boolean">true</d></object>'
cp "$T/out" "$T/from-file"
expect_status 0 sh -c "\"$XO\" convert --to=xml --plain - < \"$T/in.json\""
cmp -s "$T/out" "$T/from-file" || fail "convert from standard input differs from the file's"
expect_status 0 sh -c "cat \"$T/in.json\" | \"$XO\" convert --to xml --plain /dev/stdin"
cmp -s "$T/out" "$T/from-file" || fail "convert from a pipe differs from the file's"
expect_status 0 "$XO" convert --to xml "$EXAMPLES/sample.json"
expect_out '    <bookArray>'

# JSON in UTF-16 without a mark is found by its zero bytes, with a mark too.
printf '{\0"\0a\0"\0:\0[\0]\0}\0' >"$T/utf16.json"
expect_status 0 "$XO" convert --to xml --plain "$T/utf16.json"
expect_out '<aArray /></object>'
printf '\xff\xfe[\0001\0]\0' >"$T/utf16bom.json"
expect_status 0 "$XO" convert --to xml --plain "$T/utf16bom.json"
expect_out '<array xsd:type="decimal">1</array></array>'

# And back: the XML of a JSON document converts to JSON again.
"$XO" convert --to xml "$T/in.json" >"$T/back.xml"
expect_status 0 "$XO" convert --to json --plain "$T/back.xml"
[ "$(cat "$T/out")" = '{"object": {"aArray": {"a": ["1","x"]},"b": {"c": null},"d": "true"}}' ] ||
  fail "round trip: $(cat "$T/out")"

# Failures: FILE:LINE:COLUMN: message and exit 1; usage errors exit 2.
printf '{"a":\n  x}' >"$T/bad.json"
expect_status 1 "$XO" convert --to xml "$T/bad.json"
expect_err "$T/bad.json:2:3: The document is not wellformed! \"\", t, f, n, 0..9, ., + or -\" expected, but \"x\" found!"
# A text that ends too early is reported at its end.
printf '{"a":[1,\n  2' >"$T/cut.json"
expect_status 1 "$XO" convert --to xml "$T/cut.json"
expect_err "$T/cut.json:2:4: Unexpected end of input!"
printf '{\0"\0a\0"\0:\0\n\0"\0' >"$T/cut16.json"
expect_status 1 "$XO" convert --to json "$T/cut16.json"
expect_err "$T/cut16.json:2:2: Unexpected end of input!"
printf '' >"$T/empty"
expect_status 1 "$XO" convert --to json "$T/empty"
expect_err "$T/empty:1:1: The document is not wellformed!"
expect_status 1 "$XO" convert --to json "$T/nonexistent.xml"
expect_err "nonexistent.xml"
expect_status 2 "$XO" convert "$T/in.xml"
expect_status 2 "$XO" convert --to yaml "$T/in.xml"
expect_status 2 "$XO" convert --to json --nosuch "$T/in.xml"
expect_status 2 "$XO" convert --to json "$T/in.xml" "$T/in.json"
if [ -w /dev/full ]; then
  expect_status 3 sh -c "\"$XO\" convert --to json \"$T/in.xml\" >/dev/full"
fi
done_tests
