# xo events: exit codes, standard input, write failures, file names.
. "$(dirname "$0")/common.bash"

expect_status 0 "$XO" events "$EXAMPLES/sample.xml"
expect_out $'StartDocument'
expect_out $'EndDocument'
cp "$T/out" "$T/from-file"

# The same bytes from standard input give the same events.
expect_status 0 sh -c "\"$XO\" events - < \"$EXAMPLES/sample.xml\""
cmp -s "$T/out" "$T/from-file" || fail "events from standard input differ from the file's"

# Pipes lose nothing: /dev/stdin and a process substitution read like files.
expect_status 0 sh -c "cat \"$EXAMPLES/sample.xml\" | \"$XO\" events /dev/stdin"
cmp -s "$T/out" "$T/from-file" || fail "events from a pipe differ from the file's"
expect_status 0 bash -c "\"$XO\" events <(cat \"$EXAMPLES/sample.xml\")"
cmp -s "$T/out" "$T/from-file" || fail "events from a process substitution differ from the file's"

# An unknown encoding name of any length gives a short message.
{ printf '<?xml version="1.0" encoding="'; head -c 100000 /dev/zero | tr '\0' 'x'; printf '"?><a/>'; } >"$T/enc.xml"
expect_status 1 "$XO" events "$T/enc.xml"
expect_out "Unknown code page"
[ "$(wc -c <"$T/out")" -lt 400 ] || fail "the message repeats the whole encoding name"

# Not well-formed: the last line is FatalError, exit 1.
printf '<a/><b/>' >"$T/bad.xml"
expect_status 1 "$XO" events "$T/bad.xml"
expect_out "FatalError"

# A file that is not there: exit 1 with the system's reason.
expect_status 1 "$XO" events "$T/missing.xml"
expect_out "Cannot open file"

# A file name that is not UTF-8 opens all the same.
name=$(printf '%s/caf\351.xml' "$T")
printf '<a/>' >"$name"
expect_status 0 "$XO" events "$name"
expect_out $'StartElement\t\ta\ta'

# Output that cannot be written is an error, not a silent success.
if [ -w /dev/full ]; then
  expect_status 3 sh -c "\"$XO\" events \"$EXAMPLES/sample.xml\" >/dev/full"
  expect_err "cannot write output"
fi

# Usage errors.
expect_status 2 "$XO" events
expect_status 2 "$XO" nosuchcommand
expect_status 0 "$XO" help events
expect_out "xo events FILE"

done_tests
