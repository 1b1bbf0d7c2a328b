# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of ferrowick's command line in fish.
function __ferrowick_words_after_pack
    set -l words (commandline -opc)
    set -l pack (contains -i -- --pack $words)
    and math (count $words) - $pack
    or echo -1
end
function __ferrowick_takes_audio
    set -l words (__ferrowick_words_after_pack)
    test $words -eq 1
    or test $words -eq 2 -a (commandline -opc)[-1] = --audio
end
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l pack -d 'Make a pack without a window' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l add -d 'Open the window with these folders and clips' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l export -d 'Pack what was added' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l inspect -d 'Print what is understood of each clip' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -s h -l help -d 'Print a short help'
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l version -d 'Print the version'
complete -c ferrowick -n __ferrowick_takes_audio -l audio -d 'The sound to keep' -xa 'lossless compressed none'
