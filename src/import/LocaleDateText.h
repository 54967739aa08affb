#pragma once

#include "store/DateTime.h"

#include <QLocale>

#include <string>

namespace kelvane {

// Turns a date time into the text the user's locale writes for a short date and a long time,
// with seconds, without milliseconds and without a time zone. At exactly midnight the time is
// left out. Texts are cached per second, since a log holds many events in the same second.
class LocaleDateText {
public:
    explicit LocaleDateText(const QLocale& locale = QLocale::system());

    const std::string& text(const DateTime& value);
    const QString& dateFormat() const { return m_dateFormat; }
    const QString& timeFormat() const { return m_timeFormat; }

    // The locale's long time format without its time zone part.
    static QString timeFormatWithoutZone(const QLocale& locale);

private:
    QLocale m_locale;
    QString m_dateFormat;
    QString m_timeFormat;
    DateTime m_cachedKey;
    bool m_hasCache = false;
    std::string m_cached;
};

} // namespace kelvane
