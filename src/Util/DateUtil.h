#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace DateUtils {

// Formats moments with a fixed pattern in a locale, in the user's time zone.
class DateFormatter {
public:
    DateFormatter(QString pattern, QLocale locale);

    QString pattern() const { return m_pattern; }
    QString string(const QDateTime& moment) const;

private:
    QString m_pattern;
    QLocale m_locale;
};

// How a workspace's updatedAt is shown: "d MMM yyyy, HH:mm" ("5 Mar 2024, 09:07") in the
// user's locale and time zone. Made once, on first use.
const DateFormatter& workspaceFormatter();

} // namespace DateUtils
