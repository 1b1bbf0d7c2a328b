#compdef ferrowick
# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of ferrowick's command line in zsh.
local pack=${words[(i)--pack]}
if (( pack < CURRENT )); then
    # --pack OUT.zip [--audio MODE] PATH…
    case $(( CURRENT - pack )) in
    1) _files -g '*.zip(-.)' ;;
    2) _alternative 'options:option:((--audio\:"the sound to keep"))' 'paths:card, folder or clip:_files' ;;
    3)
        if [[ $words[CURRENT-1] == --audio ]]; then
            _values 'sound to keep' 'lossless[bit for bit]' 'compressed[AAC, 64 kbit/s per channel]' \
                'none[timecode only]'
        else
            _files
        fi
        ;;
    *) _files ;;
    esac
else
    _arguments '--pack[make a pack without a window]:zip to make:_files -g "*.zip(-.)"' \
        '--add[open the window with these folders and clips]:*:card, folder or clip:_files' \
        '--export[pack what was added]:zip to make:_files -g "*.zip(-.)"' \
        '--inspect[print what is understood of each clip]:*:clip:_files' \
        '(- *)'{-h,--help}'[print a short help]' '(- *)--version[print the version]' \
        '*:card, folder or clip:_files'
fi
