#include "Util/AppVersion.h"

QString AppVersion::current()
{
#ifdef VANTOR_VERSION
    return versionOrUnknown(QStringLiteral(VANTOR_VERSION));
#else
    return versionOrUnknown({});
#endif
}

QString AppVersion::versionOrUnknown(const QString& stamped)
{
    return stamped.trimmed().isEmpty() ? QStringLiteral("Unknown") : stamped;
}
