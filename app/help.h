// SPDX-License-Identifier: GPL-3.0-or-later
// What the program says of itself.
#pragma once

namespace CLI {

inline constexpr const char* versionText = "Ferrowick " FERROWICK_VERSION;

inline constexpr const char* helpText =
    R"(Ferrowick makes one small zip of a shoot's camera cards: for every clip a QuickTime
movie with its timecode track and its scratch sound only, in the cards' own folders,
and a report of all clips (CSV). The picture is never read, no clip is ever changed.

  ferrowick [PATH…]                 opens the window, with these folders and clips
            [--export OUT.zip]      and packs them at once
            [--add PATH…]           the same for words that begin with a dash, to the end
  ferrowick --pack OUT.zip [--audio lossless|compressed|none] PATH…
                                    makes a pack without a window
  ferrowick --help | --version

PATH      a camera card, a folder or a clip (QuickTime, MPEG-4, MXF)
OUT.zip   the pack to make; a file that is there is replaced once the new one is whole
--audio   the sound to keep: lossless (the default, bit for bit), compressed (AAC,
          64 kbit/s per channel) or none (timecode only); stands before the paths

Prints a line for every clip as soon as it is packed, then "Saved" and the zip's path.
Standard error says why clips can't be read, and which paths and folders gave none;
on a terminal it has a line that moves: the clip, the share done, the time left.

Exit codes with --pack:
  0   the zip is saved and holds every clip
  1   a clip was not packed (its line says why), a folder could not be listed (clips
      may be missing), or no zip could be made
  2   the command line is incomplete, or no window can be opened
A pack that is interrupted (Ctrl-C) leaves nothing behind.)";

} // namespace CLI
