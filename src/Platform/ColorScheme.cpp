#include "Platform/ColorScheme.h"

#include "Util/Logging.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

namespace Platform {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");

std::optional<ColorScheme::Scheme> forcedScheme()
{
    const QString forced = qEnvironmentVariable("VANTOR_COLOR_SCHEME").trimmed().toLower();
    if (forced == QLatin1String("dark"))
        return ColorScheme::Scheme::dark;
    if (forced == QLatin1String("light"))
        return ColorScheme::Scheme::light;
    if (!forced.isEmpty())
        qCWarning(lcShell) << "VANTOR_COLOR_SCHEME is" << forced << "- expected light or dark";
    return std::nullopt;
}

// The portal wraps the value in one variant (Read) or two (older portals).
std::optional<uint> unwrapUint(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = qvariant_cast<QDBusVariant>(value).variant();
    bool ok = false;
    const uint number = value.toUInt(&ok);
    return ok ? std::optional<uint>(number) : std::nullopt;
}

} // namespace

ColorScheme::ColorScheme(QObject* parent) : QObject(parent), m_forced(forcedScheme())
{
    m_scheme = m_forced.value_or(fromPalette());
    if (m_forced)
        return;
    qGuiApp->installEventFilter(this);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"),
        this, SLOT(portalSettingChanged(QString, QString, QDBusVariant)));
    readPortal();
}

std::optional<ColorScheme::Scheme> ColorScheme::fromPortalValue(uint value)
{
    switch (value) {
    case 1:
        return Scheme::dark;
    case 2:
        return Scheme::light;
    default:
        return std::nullopt;
    }
}

void ColorScheme::readPortal()
{
    QDBusMessage read = QDBusMessage::createMethodCall(
        portalService, portalPath, settingsInterface, QStringLiteral("Read"));
    read << appearanceGroup << colorSchemeKey;
    // Asked without waiting: a desktop without a portal must not hold up the window.
    auto* watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(read, 2000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *call;
        if (reply.isError())
            return;
        const std::optional<uint> value = unwrapUint(QVariant::fromValue(reply.value()));
        setPortalPreference(value ? fromPortalValue(*value) : std::nullopt);
    });
}

void ColorScheme::portalSettingChanged(
    const QString& group, const QString& key, const QDBusVariant& value)
{
    if (group != appearanceGroup || key != colorSchemeKey)
        return;
    const std::optional<uint> number = unwrapUint(value.variant());
    setPortalPreference(number ? fromPortalValue(*number) : std::nullopt);
}

void ColorScheme::setPortalPreference(std::optional<Scheme> preference)
{
    m_portal = preference;
    update();
}

void ColorScheme::update()
{
    const Scheme scheme = m_forced.value_or(m_portal.value_or(fromPalette()));
    if (scheme == m_scheme)
        return;
    m_scheme = scheme;
    Q_EMIT schemeChanged();
}

ColorScheme::Scheme ColorScheme::fromPalette() const
{
    const QColor window = QGuiApplication::palette().color(QPalette::Window);
    return window.isValid() && window.lightnessF() < 0.5 ? Scheme::dark : Scheme::light;
}

bool ColorScheme::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        update();
    return QObject::eventFilter(watched, event);
}

} // namespace Platform
