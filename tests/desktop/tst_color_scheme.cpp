// Light and dark follow the desktop: the XDG desktop portal's appearance setting, read and
// followed live over a private session bus on which the test serves the portal.
#include "Shell/QmlEngine.h"
#include "UIComponents/Theme.h"

#include "TestMain.h"

#include <QDBusConnection>
#include <QDBusVariant>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <memory>

using Scheme = Platform::ColorScheme::Scheme;

// The portal's Settings interface, as far as Vantor reads it.
class FakeSettingsPortal final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    uint colorScheme = 0;
    int reads = 0;

    void change(uint value)
    {
        colorScheme = value;
        Q_EMIT SettingChanged(QStringLiteral("org.freedesktop.appearance"),
            QStringLiteral("color-scheme"), QDBusVariant(QVariant::fromValue(value)));
    }

public Q_SLOTS:
    QDBusVariant Read(const QString& group, const QString& key)
    {
        ++reads;
        if (group == QLatin1String("org.freedesktop.appearance") && key == QLatin1String("color-scheme"))
            return QDBusVariant(QVariant::fromValue(QDBusVariant(QVariant::fromValue(colorScheme))));
        return QDBusVariant(QVariant::fromValue(QString()));
    }

Q_SIGNALS:
    void SettingChanged(const QString& group, const QString& key, const QDBusVariant& value);
};

class ColorSchemeTest final : public QObject {
    Q_OBJECT

    QProcess m_bus;
    FakeSettingsPortal m_portal;

private Q_SLOTS:
    void initTestCase()
    {
        qunsetenv("VANTOR_COLOR_SCHEME");
        m_bus.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        QVERIFY(m_bus.waitForStarted());
        QVERIFY(m_bus.waitForReadyRead(10000));
        const QByteArray address = m_bus.readLine().trimmed();
        QVERIFY(!address.isEmpty());
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        QDBusConnection portalBus
            = QDBusConnection::connectToBus(QString::fromLatin1(address), QStringLiteral("portal"));
        QVERIFY(portalBus.isConnected());
        QVERIFY(portalBus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"),
            &m_portal, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
        QVERIFY(portalBus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
        m_bus.kill();
        m_bus.waitForFinished();
    }

    void init() { failOnUnexpectedWarnings(); }

    void aPortalThatPrefersDarkMakesItDark()
    {
        m_portal.colorScheme = 1;
        const int reads = m_portal.reads;
        Theme theme;
        QTRY_VERIFY(theme.isDark());
        QCOMPARE(m_portal.reads, reads + 1);
        QCOMPARE(theme.background(), theme.color(QStringLiteral("background"), Scheme::dark));
    }

    void withoutAPreferenceThePaletteDecides()
    {
        m_portal.colorScheme = 0;
        const int reads = m_portal.reads;
        Theme theme;
        QTRY_COMPARE(m_portal.reads, reads + 1);
        // Xvfb's default palette is light.
        QVERIFY(!theme.isDark());
    }

    void aRunningWindowSwitchesWhenThePortalChanges()
    {
        m_portal.colorScheme = 2;
        QQmlEngine engine;
        prepareQmlEngine(engine);
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQuick
            import Vantor
            Window {
                visible: true
                width: 100; height: 100
                Rectangle { objectName: "backdrop"; anchors.fill: parent; color: Theme.background }
            })",
            QUrl());
        std::unique_ptr<QObject> window(component.create());
        QVERIFY2(window, qPrintable(component.errorString()));
        auto* backdrop = window->findChild<QQuickItem*>(QStringLiteral("backdrop"));
        Theme* theme = engine.singletonInstance<Theme*>(qmlTypeId("Vantor", 1, 0, "Theme"));
        const QColor light = theme->color(QStringLiteral("background"), Scheme::light);
        const QColor dark = theme->color(QStringLiteral("background"), Scheme::dark);
        QTRY_COMPARE(backdrop->property("color").value<QColor>(), light);

        m_portal.change(1);
        QTRY_COMPARE(backdrop->property("color").value<QColor>(), dark);
        m_portal.change(2);
        QTRY_COMPARE(backdrop->property("color").value<QColor>(), light);
    }

    void theEnvironmentOverridesThePortal()
    {
        m_portal.colorScheme = 2;
        qputenv("VANTOR_COLOR_SCHEME", "light");
        Theme forced;
        qunsetenv("VANTOR_COLOR_SCHEME");
        Theme following;
        QTRY_VERIFY(m_portal.reads > 0);
        m_portal.change(1);
        QTRY_VERIFY(following.isDark());
        QVERIFY(!forced.isDark());
    }

    void portalValuesMapToSchemes()
    {
        QCOMPARE(Platform::ColorScheme::fromPortalValue(1), std::optional(Scheme::dark));
        QCOMPARE(Platform::ColorScheme::fromPortalValue(2), std::optional(Scheme::light));
        QCOMPARE(Platform::ColorScheme::fromPortalValue(0), std::nullopt);
        QCOMPARE(Platform::ColorScheme::fromPortalValue(7), std::nullopt);
    }
};

VANTOR_DESKTOP_TEST_MAIN(ColorSchemeTest)
#include "tst_color_scheme.moc"
