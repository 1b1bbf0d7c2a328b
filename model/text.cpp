// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/text.h"

#include <QLocale>

#include "platform/byte_count.h"

namespace model {

QString byteCount(std::int64_t bytes) {
    QString count = text(platform::byteCount(bytes, QLocale().decimalPoint().toStdString()));
    const QString zero = QLocale().zeroDigit();
    for (char16_t digit = 0; digit < 10 && zero.size() == 1; ++digit)
        count.replace(QChar(u'0' + digit), QChar(zero[0].unicode() + digit));
    return count;
}

} // namespace model
