#pragma once

#include "Platform/ColorScheme.h"

#include <QColor>
#include <QHash>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <utility>

// Vantor's named colours, each with a light and a dark value from one colour table in the
// resources, resolved for the desktop's current scheme. Screens bind to the properties and
// follow a change of scheme while they are open.
class Theme final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isDark READ isDark NOTIFY changed)
    Q_PROPERTY(QColor background READ background NOTIFY changed)
    Q_PROPERTY(QColor backgroundTopBar READ backgroundTopBar NOTIFY changed)
    Q_PROPERTY(QColor border READ border NOTIFY changed)
    Q_PROPERTY(QColor hover READ hover NOTIFY changed)
    Q_PROPERTY(QColor primaryButton READ primaryButton NOTIFY changed)
    Q_PROPERTY(QColor primaryButtonText READ primaryButtonText NOTIFY changed)
    // Labels and secondary labels on the backgrounds above.
    Q_PROPERTY(QColor text READ text NOTIFY changed)
    Q_PROPERTY(QColor secondaryText READ secondaryText NOTIFY changed)
    // The desktop's accent colours: red for destructive buttons, yellow, green, indigo and
    // gray for symbols and notices.
    Q_PROPERTY(QColor red READ red NOTIFY changed)
    Q_PROPERTY(QColor yellow READ yellow NOTIFY changed)
    Q_PROPERTY(QColor green READ green NOTIFY changed)
    Q_PROPERTY(QColor indigo READ indigo NOTIFY changed)
    Q_PROPERTY(QColor gray READ gray NOTIFY changed)

public:
    explicit Theme(QObject* parent = nullptr);

    bool isDark() const { return m_scheme.isDark(); }
    // The colour of that name in the current scheme; invalid for an unknown name.
    Q_INVOKABLE QColor color(const QString& name) const;
    // The colour of that name in the given scheme.
    QColor color(const QString& name, Platform::ColorScheme::Scheme scheme) const;
    QStringList names() const { return m_table.keys(); }

    QColor background() const { return color(QStringLiteral("background")); }
    QColor backgroundTopBar() const { return color(QStringLiteral("backgroundTopBar")); }
    QColor border() const { return color(QStringLiteral("border")); }
    QColor hover() const { return color(QStringLiteral("hover")); }
    QColor primaryButton() const { return color(QStringLiteral("primaryButton")); }
    QColor primaryButtonText() const { return color(QStringLiteral("primaryButtonText")); }
    QColor text() const { return color(QStringLiteral("text")); }
    QColor secondaryText() const { return color(QStringLiteral("secondaryText")); }
    QColor red() const { return color(QStringLiteral("red")); }
    QColor yellow() const { return color(QStringLiteral("yellow")); }
    QColor green() const { return color(QStringLiteral("green")); }
    QColor indigo() const { return color(QStringLiteral("indigo")); }
    QColor gray() const { return color(QStringLiteral("gray")); }

Q_SIGNALS:
    void changed();

private:
    using LightAndDark = std::pair<QColor, QColor>;
    static QHash<QString, LightAndDark> readTable();

    QHash<QString, LightAndDark> m_table;
    Platform::ColorScheme m_scheme;
};
