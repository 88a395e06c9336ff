#!/usr/bin/env bash
# Patterns of 'matches': what they find, and what is wrong with one. usage: commands_patterns.sh PCSIM
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# Each is in the name of an interface, "eth1"; a blank would end the word.
found=('eth' '^eth1$' '^...1$' '^eth\d$' '^\w{4}$' '^\D+\d$' '^[^0-9]{3}[\d.]$' '[a-f]th[12]' '[]e]t'
    '^(e|f)th' '^(?:a|eth|b)1$' '^et{1}h' '^e{1,3}t' '^et{0,}h' 'eth2?1' '^x*eth' '\beth1\b' '(t)(h)'
    '[a-]?e' '1|2' '^\S+$' '^e\th|^eth' '\.|t' 'eth1\b$' '^((e)t)+h1')
lost=('^th' 'eth$' '^\d' '\s' 'eth[^1]' '[2-9]' '^e{2}' '\.' '^(a|b)' 'eth1.' 'ä')
commands=('time warp 1000')
for pattern in "${found[@]}"; do
    commands+=("expect show ports -- 1:1.interface matches $pattern")
done
succeeds "${commands[@]}"
for pattern in "${lost[@]}"; do
    demand="show ports -- 1:1.interface matches $pattern"
    refuses "expected $demand, but 1:1.interface is eth1" "expect $demand"
done

# wrong PATTERN REASON: it is none.
wrong() { refuses "'$1' is no pattern: $2" "expect show ports -- 1:1.interface matches $1"; }
braces='braces hold {N}, {N,} or {N,M}, to 1000; \{ is the character'
wrong '(a' "a '(' has no ')'"
wrong 'a)' "a ')' has no '('"
wrong '[a' "a '[' has no ']'"
wrong '[z-a]' "'z-a' is no range of characters"
wrong '[ä]' "a list in brackets is of ASCII characters"
wrong '(a)\1' 'there is no \1'
wrong 'eth1\B' 'there is no \B'
wrong '*a' "there is nothing that '*' repeats; \\* is the character"
wrong 'a{' "$braces"
wrong 'a{3,2}' "$braces"
wrong 'a{1001}' "$braces"
refuses 'the pattern repeats too much' \
    "expect show ports -- 1:1.interface matches ((a{1000}){1000}){1000}"
refuses 'the pattern is longer than 1000 bytes' \
    "expect show ports -- 1:1.interface matches $(printf 'a%.0s' {1..1001})"

finish
