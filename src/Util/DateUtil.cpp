#include "Util/DateUtil.h"

namespace DateUtils {

DateFormatter::DateFormatter(QString pattern, QLocale locale)
    : m_pattern(std::move(pattern)), m_locale(std::move(locale))
{
}

QString DateFormatter::string(const QDateTime& moment) const
{
    return m_locale.toString(moment.toLocalTime(), m_pattern);
}

const DateFormatter& workspaceFormatter()
{
    static const DateFormatter formatter(QStringLiteral("d MMM yyyy, HH:mm"), QLocale::system());
    return formatter;
}

} // namespace DateUtils
