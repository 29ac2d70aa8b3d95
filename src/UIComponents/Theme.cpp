#include "UIComponents/Theme.h"

#include "Util/Logging.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

Theme::Theme(QObject* parent) : QObject(parent), m_table(readTable())
{
    connect(&m_scheme, &Platform::ColorScheme::schemeChanged, this, &Theme::changed);
}

QHash<QString, Theme::LightAndDark> Theme::readTable()
{
    // The table is part of the build, checked when the resources are made.
    QFile file(QStringLiteral(":/theme/colors.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        qCCritical(lcShell) << "The colour table is missing from the resources";
        return {};
    }
    QHash<QString, LightAndDark> table;
    const QJsonObject colors = QJsonDocument::fromJson(file.readAll()).object();
    for (auto it = colors.begin(); it != colors.end(); ++it) {
        const QJsonObject pair = it.value().toObject();
        table.insert(it.key(),
            {QColor::fromString(pair.value(QLatin1String("light")).toString()),
                QColor::fromString(pair.value(QLatin1String("dark")).toString())});
    }
    return table;
}

QColor Theme::color(const QString& name) const
{
    return color(name, m_scheme.scheme());
}

QColor Theme::color(const QString& name, Platform::ColorScheme::Scheme scheme) const
{
    const auto it = m_table.constFind(name);
    if (it == m_table.constEnd()) {
        qCWarning(lcShell) << "No colour named" << name;
        return {};
    }
    return scheme == Platform::ColorScheme::Scheme::dark ? it->second : it->first;
}
