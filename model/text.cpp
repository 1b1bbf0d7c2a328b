// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/text.h"

#include <QLocale>

#include "platform/byte_count.h"

namespace model {

QString byteCount(std::int64_t bytes) {
    return text(platform::byteCount(bytes, QLocale().decimalPoint().toStdString()));
}

} // namespace model
