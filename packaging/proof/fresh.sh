#!/usr/bin/env bash
# In a fresh Debian: the packages are installed from a folder, used as their documents say, and
# removed without a trace. The packages are in /packages, the documents of the tree in /docs.
set -euo pipefail
. /proof/common.sh

most_seconds=20  # from apt to the first prompt

before=$(snapshot)
dpkg -l | grep -c '^ii' >/dev/null || fail "this is no Debian"

# --- To a prompt ---------------------------------------------------------------------------------

begin=$EPOCHREALTIME
install_here /packages/*.deb
printf 'quit\n' | script -qec "pcsim --lab 4" /dev/null >/tmp/prompt 2>&1 ||
    fail "pcsim ends with an error: $(tail -3 /tmp/prompt)"
took=$(seconds_since "$begin")
times >/tmp/times
worked=$(processor_seconds /tmp/times)
grep -q 'pcsim>' /tmp/prompt || fail "there is no prompt: $(cat /tmp/prompt)"
told "from apt to a prompt" "$took s, $worked s of a processor"
# Where others work, too, what passes meanwhile says nothing.
[ "${took%.*}" -lt $most_seconds ] ||
    { [ -n "${PCSIM_SHARED:-}" ] && [ "${worked%.*}" -lt $most_seconds ]; } ||
    fail "from apt to a prompt it takes $took s; expected less than $most_seconds"
rm -f /tmp/prompt /tmp/times

# --- As root, and as somebody else ---------------------------------------------------------------

examples=/usr/share/doc/pcsim/examples
pcsim --lab 4 --quiet -f $examples/tour/stack.pcsim >/dev/null || fail "the tour of a stack"
pcsim --shape chassis --remote-io --stopped --lab 16 --quiet -f $examples/tour/chassis.pcsim \
    >/dev/null || fail "the tour of a chassis"
told "the tour" "as expected"
if as_nobody unshare -Urn true 2>/dev/null; then
    as_nobody pcsim --lab 4 -x 'show ports' | found '^  1:4 .* up ' ||
        fail "a user without rights has no lab"
    told "a user without rights" "has a lab"
else
    told "a user without rights" "not tried: the kernel makes no namespaces here"
fi

# --- Programs, manuals, completion ---------------------------------------------------------------

version=$(dpkg-query -W -f '${Version}' pcsim)
for program in pcsim pcsimctl pcsim-nics pcsim-probe pcsim-campaign pcsim-lab pcsim-web; do
    $program --version | head -1 | found -x "$program $version" ||
        fail "$program says of its version: $($program --version)"
    man $program 2>/dev/null | col -b | found "^ *$program" || fail "there is no 'man $program'"
    [ -e /usr/share/bash-completion/completions/$program ] || fail "$program has no completion"
    [ -e /usr/share/zsh/vendor-completions/_$program ] || fail "$program has none for zsh"
done
for page in pcsim-verbs pcsim-protocol pcsim-interface; do
    man 7 $page 2>/dev/null | col -b | found "^ *$page" || fail "there is no 'man $page'"
done
told "programs and manuals" "version $version"

# --- A lab, a page, a probe ----------------------------------------------------------------------

pcsim-lab up $examples/leaf-spine/lab.yml >/tmp/lab || fail "no lab: $(cat /tmp/lab)"
pcsimctl leaf-spine.leaf1 show ports | found ' up ' || fail "leaf1 has no link"
pcsim-lab down >/dev/null
told "a lab" "$(grep -o '[0-9]* nodes, [0-9]* cables' /tmp/lab)"

pcsim --lab 4 --name page --serve --quiet &
pcsim-web --port 8471 --token 0123456789abcdef0123 >/tmp/web 2>&1 &
web=$!
python3 /proof/page.py http://127.0.0.1:8471/0123456789abcdef0123/ page ||
    fail "there is no page: $(cat /tmp/web)"
kill $web
wait $web 2>/dev/null || true
pcsimctl page shutdown >/dev/null && wait
told "a page" "is served"

# --- What is built against it --------------------------------------------------------------------

# shellcheck disable=SC2046  # a list of words
install_here --no-install-recommends $(cat /proof/tools)
host=/usr/share/doc/lib32pcsimulation-dev/examples/minimal-host/host.c
boots() { "$@" 2>&1 | found '^VORN-VM .*own slot 1$' || fail "'$*' does not boot"; }
mkdir /tmp/hosts
# shellcheck disable=SC2046  # options, one by one
gcc -std=gnu11 -Wall -Werror -o /tmp/hosts/opening $host $(pkg-config --cflags --libs pcsimulation)
# shellcheck disable=SC2046
gcc -std=gnu11 -Wall -Werror -DLINKED_WITH_THE_PLATFORM -o /tmp/hosts/linked $host \
    $(pkg-config --cflags --libs pcsimulation-link)
boots /tmp/hosts/opening libpcsimulation.so.0 stack
boots /tmp/hosts/linked - stack
told "a host with pkg-config" "boots"
cp -r /usr/share/doc/lib32pcsimulation-dev/examples /tmp/examples
cmake -S /tmp/examples/installed -B /tmp/hosts/cmake >/dev/null
cmake --build /tmp/hosts/cmake >/dev/null
boots /tmp/hosts/cmake/opening-host libpcsimulation.so.0 stack
boots /tmp/hosts/cmake/linked-host - stack
told "a host with CMake" "boots"

pcsim-probe --coverage /tmp/called --record /tmp/run.rec -- \
    /tmp/hosts/opening libpcsimulation.so.0 stack >/dev/null
grep -q platformSystemInit /tmp/called || fail "the probe counts nothing"
pcsim-probe replay /tmp/run.rec --library /usr/lib32/libpcsimulation.so.0 >/tmp/replayed ||
    fail "the replay says: $(cat /tmp/replayed)"
told "the probe" "$(tail -1 /tmp/replayed)"
pcsim-nics --ports 2 -- env LD_PRELOAD=libpcsim-mii.so.0 \
    /tmp/hosts/opening libpcsimulation.so.0 stack | found 'port 1:2 is up' ||
    fail "with MII emulation there is no link"
told "MII emulation" "gives link"

mkdir /tmp/tests
sed '/^```python$/,/^```$/!d' /docs/testing-with-python.md | sed -n '2,/^```$/p' | sed '$d' \
    >/tmp/tests/first_test.py
(cd /tmp/tests && pytest-3 -q -p no:cacheprovider first_test.py >pytest.log 2>&1) ||
    fail "the tutorial's first test: $(tail -20 /tmp/tests/pytest.log)"
told "the tutorial's first test" "$(tail -1 /tmp/tests/pytest.log)"

# --- Away again ----------------------------------------------------------------------------------

rm -rf /tmp/hosts /tmp/tests /tmp/examples /tmp/called /tmp/run.rec /tmp/replayed /tmp/lab /tmp/web \
    /tmp/pcsim-* /tmp/*.log /root/.cache /root/.local /root/.pcsim*
apt-get remove -y "${packages[@]}" >/tmp/apt.log 2>&1 || fail "remove: $(tail -5 /tmp/apt.log)"
left=$(find / -xdev \( -path /proof -o -path /docs -o -path /packages -o -path /previous -o -path /var/cache \
    -o -path /var/log \) -prune -o -iname '*pcsim*' -print | grep -v '^/var/lib/dpkg/info/.*\.list$' || true)
[ -z "$left" ] || fail "after removal there are still: $left"
mapfile -t removed < <(dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' | sed -n 's/^rc *//p')
{ [ ${#removed[@]} -eq 0 ] || dpkg --purge "${removed[@]}"; } >/tmp/apt.log 2>&1 ||
    fail "purge: $(tail -5 /tmp/apt.log)"
# shellcheck disable=SC2046
purge $(cat /proof/tools)
after=$(snapshot)
[ "$before" = "$after" ] || fail "purged, it is not as before:
$(diff <(echo "$before") <(echo "$after") | head -20)"
told "removed and purged" "no trace"
