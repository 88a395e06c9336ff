"""Completion for bash and zsh, from the tables of options."""
import re

FILES = re.compile(r"FILE|SCRIPT|LIBRARY")


def words(option: dict) -> list[str]:
    """How an option can be written."""
    long = [f"--{option['name']}"]
    if option["takes"] == "form":
        long += [f"--{option['name']}={choice}" for choice in option["choices"]]
    return long + ([f"-{option['letter']}"] if option["letter"] else [])


def bash_value(option: dict) -> str:
    """What may follow an option."""
    if option["takes"] in ("choice", "pair"):
        return f"COMPREPLY=($(compgen -W '{' '.join(option['choices'])}' -- \"$cur\"))"
    if FILES.search(option["value"]):
        return 'compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur"))'
    return "COMPREPLY=()"


def bash_options(table: dict, indent: str) -> list[str]:
    lines = [f'{indent}case $prev in']
    for option in table["options"]:
        if option["takes"] not in ("nothing", "form"):
            names = "|".join(word for word in words(option))
            lines.append(f"{indent}{names}) {bash_value(option)}; return ;;")
    every = " ".join(word for option in table["options"] for word in words(option))
    return lines + [f"{indent}esac", f'{indent}if [[ $cur == -* ]]; then',
                    f"{indent}    COMPREPLY=($(compgen -W '{every}' -- \"$cur\"))",
                    f"{indent}    return", f"{indent}fi"]


def function_of(name: str) -> str:
    return "_" + name.replace("-", "_")


def bash(table: dict, commands: dict[str, dict]) -> str:
    """The completion of one program; 'commands' are the tables of its commands."""
    name, function = table["name"], function_of(table["name"])
    lines = [f"# Completion of {name} for bash. Made from its options: change those.",
             f"{function}() {{",
             "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}",
             "    COMPREPLY=()"]
    if commands:
        lines.append("    case ${COMP_WORDS[1]} in")
        for command, own in commands.items():
            lines += [f"    {command})", *bash_options(own, "        "),
                      '        compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur"))',
                      "        return", "        ;;"]
        lines.append("    esac")
    lines += bash_words(name, commands)
    lines += bash_options(table, "    ")
    if commands:
        lines += [f"    ((COMP_CWORD > 1)) || COMPREPLY=($(compgen -W '{' '.join(commands)}' -- "
                  '"$cur"))']
    return "\n".join([*lines, "}", f"complete -F {function} {name}"]) + "\n"


# Programs that start others: their words are completed from there on as the other's.
STARTERS = {"pcsim-nics": (), "pcsim-probe": ("--",)}
# Programs whose words are files.
READERS = ("pcsim-campaign",)


def bash_words(name: str, commands: dict[str, dict]) -> list[str]:
    """What stands in place of words that are no options."""
    if name == "pcsimctl":
        return PCSIMCTL_BASH.split("\n")
    if name in READERS:
        return ['    compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur"))']
    if name not in STARTERS:
        return []
    return ["    local i",
            "    for ((i = 1; i < COMP_CWORD; i++)); do",
            '        [[ ${COMP_WORDS[i]} == -- ]] || continue',
            "        if declare -F _command_offset >/dev/null; then",
            "            _command_offset $((i + 1))",
            "        elif ((i + 1 == COMP_CWORD)); then",
            '            COMPREPLY=($(compgen -c -- "$cur"))',
            "        fi",
            "        return",
            "    done"]


PCSIMCTL_BASH = """\
    if [[ $cur != -* && ${COMP_WORDS[1]} != -* ]]; then
        if ((COMP_CWORD == 1)); then
            COMPREPLY=($(compgen -W "$(pcsimctl --names 2>/dev/null)" -- "$cur"))
        else
            local IFS=$'\\n'
            COMPREPLY=($(compgen -W "$(pcsimctl "${COMP_WORDS[1]}" --complete \\
                "${COMP_WORDS[@]:2:COMP_CWORD-1}" 2>/dev/null)" -- "$cur"))
        fi
        return
    fi"""


# --- zsh ------------------------------------------------------------------------------------------

def zsh_text(text: str) -> str:
    return text.replace("'", "'\\''").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:")


def zsh_value(option: dict) -> str:
    name = zsh_text(option["value"] or option["name"])
    if option["takes"] == "pair":
        return f":form:({' '.join(option['choices'])}):file:_files"
    if option["takes"] == "choice":
        return f":{name}:({' '.join(option['choices'])})"
    return f":{name}:_files" if FILES.search(option["value"]) else f":{name}:"


def zsh_options(table: dict) -> list[str]:
    lines = []
    for option in table["options"]:
        about = zsh_text(option["help"])
        if option["takes"] == "form":
            lines.append(f"'--{option['name']}=-[{about}]::form:({' '.join(option['choices'])})'")
            continue
        value = "" if option["takes"] == "nothing" else zsh_value(option)
        names = [word for word in words(option) if "=" not in word]
        spelled = names[0] if len(names) == 1 else "'{" + ",".join(names) + "}'"
        lines.append(f"'*{spelled}[{about}]{value}'")
    return lines


def zsh(table: dict, commands: dict[str, dict]) -> str:
    name, function = table["name"], function_of(table["name"])
    lines = [f"#compdef {name}",
             f"# Completion of {name} for zsh. Made from its options: change those.",
             f"{function}() {{"]
    if commands:
        lines.append("    case ${words[2]} in")
        for command, own in commands.items():
            specs = [*zsh_options(own), "'*:file:_files'"]
            lines += [f"    {command})", "        shift words; ((CURRENT--))",
                      *arguments(specs, "        "), "        return", "        ;;"]
        lines.append("    esac")
    lines += arguments([*zsh_options(table), *zsh_words(name, commands)], "    ")
    lines.append("}")
    if name == "pcsimctl":
        lines += PCSIMCTL_ZSH.split("\n")
    return "\n".join([*lines, f'{function} "$@"']) + "\n"


def arguments(specs: list[str], indent: str) -> list[str]:
    return [f"{indent}_arguments -s \\", *(f"{indent}    {spec} \\" for spec in specs[:-1]),
            f"{indent}    {specs[-1]}"]


def zsh_words(name: str, commands: dict[str, dict]) -> list[str]:
    if name == "pcsimctl":
        return ["'1:instance:_pcsimctl_instances'", "'*:command:_pcsimctl_words'"]
    words = [f"'1:command:({' '.join(commands)})'"] if commands else []
    if name in READERS:
        words.append("'*:file:_files'")
    return words + (["'*:::program:_normal'"] if name in STARTERS else [])


PCSIMCTL_ZSH = """\
_pcsimctl_instances() {
    compadd -- ${(f)"$(pcsimctl --names 2>/dev/null)"}
}
_pcsimctl_words() {
    compadd -- ${(f)"$(pcsimctl $words[2] --complete "${(@)words[3,CURRENT]}" 2>/dev/null)"}
}"""
