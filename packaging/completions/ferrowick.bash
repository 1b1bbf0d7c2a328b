# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of ferrowick's command line in bash.
_ferrowick() {
    local word=${COMP_WORDS[COMP_CWORD]} pack=0 i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == --pack ]]; then
            pack=$i
            break
        fi
    done
    compopt -o filenames
    if ((pack > 0)); then
        # --pack OUT.zip [--audio MODE] PATH…
        case $((COMP_CWORD - pack)) in
        2)
            [[ $word == -* ]] && mapfile -t COMPREPLY < <(compgen -W --audio -- "$word") && return
            ;;
        3)
            if [[ ${COMP_WORDS[pack + 2]} == --audio ]]; then
                mapfile -t COMPREPLY < <(compgen -W "lossless compressed none" -- "$word")
                return
            fi
            ;;
        esac
    elif [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--pack --add --export --inspect --help -h --version" -- "$word")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
}
complete -F _ferrowick ferrowick
