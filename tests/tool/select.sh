# xo select: nodes printed one per line, values, options, exit codes.
. "$(dirname "$0")/common.bash"

printf '<shop><item id="a"><price>12</price></item><item id="b"><price>8</price></item><p:item xmlns:p="urn:p" id="c"/><note>Fish &amp; Chips</note></shop>' >"$T/shop.xml"

expect_status 0 "$XO" select '//item[price>10]' "$T/shop.xml"
expect_out '<item id="a"><price>12</price></item>'
[ "$(wc -l <"$T/out")" = 1 ] || fail "one item expected"

expect_status 0 "$XO" select 'shop/item/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = $'a\nb' ] || fail "attribute values: $(cat "$T/out")"

expect_status 0 "$XO" select '/shop/note' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'Fish & Chips' ] || fail "decoded value: $(cat "$T/out")"

expect_status 0 "$XO" select 'shop/ITEM/price' --first --value "$T/shop.xml"
[ "$(cat "$T/out")" = '12' ] || fail "--first: $(cat "$T/out")"
expect_status 1 "$XO" select 'shop/ITEM' --case-sensitive "$T/shop.xml"
expect_status 0 "$XO" select 'shop/item/@id' --local-name --value "$T/shop.xml"
[ "$(cat "$T/out")" = $'a\nb\nc' ] || fail "--local-name: $(cat "$T/out")"

# Standard input, nothing selected, malformed paths and documents.
expect_status 0 sh -c "\"$XO\" select 'shop/item[1]/price' --value - < \"$T/shop.xml\""
[ "$(cat "$T/out")" = '8' ] || fail "stdin: $(cat "$T/out")"
expect_status 1 "$XO" select 'shop/none' "$T/shop.xml"
expect_status 2 "$XO" select 'shop/' "$T/shop.xml"
expect_err 'The XPath expression does not return a DOM Node!'
expect_status 2 "$XO" select 'shop/item[a b]' "$T/shop.xml"
expect_err '"[a b]" is an invalid filter expression!'
expect_status 2 "$XO" select 'shop' --bogus "$T/shop.xml"
expect_status 2 "$XO" select 'shop'
printf '<a/>\n<b/>' >"$T/bad.xml"
expect_status 1 "$XO" select 'a' "$T/bad.xml"
expect_err "bad.xml:2:"
expect_status 1 "$XO" select 'a' "$T/missing.xml"

done_tests
