# xo select with the filter functions: text, numbers, regular expressions,
# dates, and the error a function raises.
. "$(dirname "$0")/common.bash"

cat >"$T/shop.xml" <<'XML'
<shop>
  <item id="a"><name>Gold Ring</name><price>-12.5</price><added>2024-03-01T10:00:00-05:00</added></item>
  <item id="b"><name>silver spoon</name><price>8</price><added>1999-12-31T23:59:59Z</added></item>
  <item id="c"><name>golden   cup</name><price>n/a</price><added>2024-07-01</added></item>
</shop>
XML

expect_status 0 "$XO" select 'shop/item[contains(name, "gold")]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = $'a\nc' ] || fail "contains: $(cat "$T/out")"
expect_status 1 "$XO" select 'shop/item[contains(name, "GOLD")]' --case-sensitive "$T/shop.xml"

expect_status 0 "$XO" select 'shop/item[abs(number(price)) > 10]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'a' ] || fail "abs(number()): $(cat "$T/out")"
# A path gives text: abs of it is null and ends the filter as false.
expect_status 1 "$XO" select 'shop/item[abs(price) > 0]' "$T/shop.xml"

expect_status 0 "$XO" select 'shop/item[round(number(price)) = 8]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'b' ] || fail "round: $(cat "$T/out")"

expect_status 0 "$XO" select 'shop/item[matches(name, "^s.*n$")]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'b' ] || fail "matches: $(cat "$T/out")"
expect_status 0 "$XO" select 'shop/item[normalize-space(name) = "golden cup"]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'c' ] || fail "normalize-space: $(cat "$T/out")"
expect_status 0 "$XO" select 'shop/item[string-length(name) = 12]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = $'b\nc' ] || fail "string-length: $(cat "$T/out")"

expect_status 0 "$XO" select 'shop/item[year-from-dateTime(added) = 2024]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = $'a\nc' ] || fail "year-from-dateTime: $(cat "$T/out")"
expect_status 0 "$XO" select 'shop/item[timezone-from-dateTime(added) = "-PT5H"]/@id' --value "$T/shop.xml"
[ "$(cat "$T/out")" = 'a' ] || fail "timezone-from-dateTime: $(cat "$T/out")"

# Errors of functions end the selection with their message.
expect_status 2 "$XO" select 'shop/item[error("E1", "stopped here")]' "$T/shop.xml"
expect_err 'stopped here'
expect_status 2 "$XO" select 'shop/item[round()]' "$T/shop.xml"
expect_err 'The "fn:round(num)" function must contain 1 parameter!'
expect_status 2 "$XO" select 'shop/item[matches(name, "(")]' "$T/shop.xml"
expect_err 'regular expression'

done_tests
