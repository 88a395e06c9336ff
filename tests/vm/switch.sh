# shellcheck shell=dash
# Boots the switch and runs its script, doing what the script asks for in lines "@...". Sourced by a
# shell that defines send FROM TO COUNT, pull and plug, and may name a plan in $switch_plan.
for n in 1 2 3 4 5; do echo "switch.registers.eth$n: $(phy eth$n)"; done

echo "switch.ports: $(pcsim -x 'wait event "Management port of slot 1 link up" within 8000' \
    -x 'sleep 3000' -x 'show ports --json' | tr -d '\n')"

{
    pcsim ${switch_plan:+--plan "$switch_plan"} -f switch.pcsim 2>&1
    echo "script.exit: $?"
} | while read -r line; do
    echo "$line"
    # shellcheck disable=SC2086  # words
    set -- $line
    case "$line" in
        "@frames "*) send "$2" "$3" "$4" ;;
        "@card "*) echo "card.$3: $(phy "$2")" ;;
        "@pull "*) pull "$2" ;;
        "@plug "*) plug "$2" ;;
    esac
done
