// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/pack_operations.h"

#include <system_error>
#include <utility>

#include "pack/header_probe.h"

namespace model {

PackOperations::PackOperations()
    : clips([](std::span<const std::filesystem::path> paths, std::set<std::string> taken) {
          return Pack::clips(paths, std::move(taken));
      }),
      header([](const std::filesystem::path& source) { return Pack::header(source); }),
      make([](std::span<const PackClip> packed, const std::filesystem::path& zip, ScratchAudio audio,
              const Pack::MakeCallbacks& callbacks) { Pack::make(packed, zip, audio, callbacks); }),
      fileSize([](const std::filesystem::path& path) {
          std::error_code error;
          const std::uintmax_t size = std::filesystem::file_size(path, error);
          return error ? 0 : static_cast<std::int64_t>(size);
      }) {}

} // namespace model
