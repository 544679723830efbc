# xo select with JSON paths.
. "$(dirname "$0")/common.bash"

expect_status 0 "$XO" select '$.store.book[?(@.price<10)].title' "$EXAMPLES/sample.json"
expect_out '"Sayings of the Century"'
expect_out '"Moby Dick"'
[ "$(wc -l <"$T/out")" = 2 ] || fail "two titles expected"

expect_status 0 "$XO" select '$.store.name' "$EXAMPLES/sample.json" --value
expect_out 'Corner "Books"'
expect_status 0 "$XO" select '$..book[-1] | $.store.address.city' "$EXAMPLES/sample.json"
expect_out '{"title": "The Lord of the Rings", "author": "J. R. R. Tolkien", "price": 22.99, "isbn": null}'
expect_out '"Köln"'
expect_status 0 sh -c "\"$XO\" select '\$.STORE.open' - --ignore-case < \"$EXAMPLES/sample.json\""
expect_out 'true'

# Nothing selected: exit 1; a malformed path: exit 2 with the message.
expect_status 1 "$XO" select '$.store.none' "$EXAMPLES/sample.json"
expect_status 2 "$XO" select '$[?(@.a=1)]' "$EXAMPLES/sample.json"
expect_err "Character '=' was expected"
expect_status 2 "$XO" select 'store' "$EXAMPLES/sample.json"
expect_err "not a valid JSON path"
# A document that does not load; XML still goes to the XML selection.
printf '{"a":' >"$T/cut.json"
expect_status 1 "$XO" select '$.a' "$T/cut.json"
expect_err "Unexpected end of input!"
expect_status 0 "$XO" select '$.store.book[0].title' "$EXAMPLES/sample.json" --first --value
expect_out 'Sayings of the Century'
printf '{"a":1}' >"$T/fifo-src.json"
expect_status 0 sh -c "\"$XO\" select '\$.a' - < \"$T/fifo-src.json\""
expect_out '1'
"$XO" select '//*' "$EXAMPLES/sample.xml" >"$T/out" 2>"$T/err" || fail "XML selection no longer reached"
expect_status 2 "$XO" select '$.a'

done_tests
