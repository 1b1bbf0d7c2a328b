# SPDX-License-Identifier: GPL-3.0-or-later
# Completion of ferrowick's command line in fish.
function __ferrowick_words_after_pack
    set -l words (commandline -opc)
    set -l pack (contains -i -- --pack $words)
    and math (count $words) - $pack
    or echo -1
end
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l pack -d 'Make a pack without a window' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l add -d 'Open the window with these folders and clips' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l export -d 'Pack what was added' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l inspect -d 'Print what is understood of each clip' -r
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -s h -l help -d 'Print a short help'
complete -c ferrowick -n 'test (__ferrowick_words_after_pack) -lt 0' -l version -d 'Print the version'
# 1: the zip is named; 2: --audio stands after it.
complete -c ferrowick -n 'contains -- (__ferrowick_words_after_pack) 1 2' -l audio -d 'The sound to keep' -xa 'lossless compressed none'
