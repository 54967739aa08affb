#include "import/LocaleDateText.h"

#include <QDate>
#include <QTime>

namespace kelvane {

LocaleDateText::LocaleDateText(const QLocale& locale)
    : m_locale(locale), m_dateFormat(locale.dateFormat(QLocale::ShortFormat)),
      m_timeFormat(timeFormatWithoutZone(locale)) {}

QString LocaleDateText::timeFormatWithoutZone(const QLocale& locale) {
    QString format = locale.timeFormat(QLocale::LongFormat);
    // Drop the zone token ("t", "tt", ...) that is outside quotes, with the blanks around it.
    QString out;
    bool quoted = false;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == '\'') {
            quoted = !quoted;
            out += c;
            continue;
        }
        if (!quoted && c == 't') {
            while (i + 1 < format.size() && format.at(i + 1) == 't')
                ++i;
            continue;
        }
        out += c;
    }
    return out.simplified();
}

const std::string& LocaleDateText::text(const DateTime& value) {
    DateTime key = value;
    key.msec = value.isMidnight() ? 0 : 1; // midnight (to the millisecond) shows no time
    if (m_hasCache && key == m_cachedKey)
        return m_cached;
    const QDate date(value.year, value.month, value.day);
    QString text = m_locale.toString(date, m_dateFormat);
    if (!value.isMidnight())
        text += ' ' + m_locale.toString(QTime(value.hour, value.minute, value.second), m_timeFormat);
    m_cached = text.toStdString();
    m_cachedKey = key;
    m_hasCache = true;
    return m_cached;
}

} // namespace kelvane
