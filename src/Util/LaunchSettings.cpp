#include "Util/LaunchSettings.h"

#include "Util/Logging.h"

#include <KeyboardShortcuts/Preferences.h>

#include <cmath>

namespace {

constexpr double maxSeconds = 24 * 60 * 60;

void readSeconds(const QString& key, double minimum, std::chrono::milliseconds& setting)
{
    const QVariant value = KeyboardShortcuts::Preferences::standard().object(key);
    if (!value.isValid())
        return;
    bool isNumber = false;
    const double seconds = value.toDouble(&isNumber);
    if (value.typeId() == QMetaType::QString || !isNumber || !std::isfinite(seconds)
        || seconds < minimum || seconds > maxSeconds) {
        qCWarning(lcApps) << "Ignoring the preference" << key << "=" << value
                          << ": expected seconds from" << minimum << "to" << maxSeconds;
        return;
    }
    setting = std::chrono::milliseconds(std::llround(seconds * 1000));
}

} // namespace

LaunchSettings LaunchSettings::fromPreferences()
{
    LaunchSettings settings;
    readSeconds(QStringLiteral("launchTimeout"), 0.001, settings.timeout);
    readSeconds(QStringLiteral("launchSettleTime"), 0, settings.settleTime);
    return settings;
}
