// vantor-portal-shortcut: holds one global shortcut through the GlobalShortcuts portal, so
// that a test can see a desktop's portal deliver it.
//
//   vantor-portal-shortcut ID TRIGGER    e.g. `vantor-check CTRL+SHIFT+F8`
//
// Prints, one line each: `bound SESSION` once the portal's session has the shortcut, then
// `activated ID` and `deactivated ID` as the portal reports them. Exits 1 when the portal
// refuses, and 0 when its standard input closes.
#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QSocketNotifier>
#include <QTextStream>

#include <cstdio>
#include <unistd.h>

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

struct Shortcut {
    QString id;
    QVariantMap properties;
};
using Shortcuts = QList<Shortcut>;

QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

void say(const QString& line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)
Q_DECLARE_METATYPE(Shortcuts)

class PortalShortcut : public QObject {
    Q_OBJECT

public:
    PortalShortcut(QString id, QString trigger)
        : m_bus(QDBusConnection::sessionBus()), m_id(std::move(id)), m_trigger(std::move(trigger))
    {
    }

    bool createSession()
    {
        // The request's path is known before the call, so its answer cannot be missed.
        const QString sender
            = m_bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString token = QStringLiteral("vantor");
        m_bus.connect(portalService,
            QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token),
            QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), this,
            SLOT(answered(uint, QVariantMap)));
        for (const char* signal : {"Activated", "Deactivated"})
            m_bus.connect(portalService, portalPath, shortcutsInterface,
                QString::fromLatin1(signal), this, SLOT(reported(QDBusMessage)));
        // KDE's backend takes the shortcuts given here; it ignores those given to BindShortcuts.
        const Shortcuts shortcuts{{m_id,
            {{QStringLiteral("description"), m_id},
                {QStringLiteral("preferred_trigger"), m_trigger}}}};
        QDBusMessage call = QDBusMessage::createMethodCall(
            portalService, portalPath, shortcutsInterface, QStringLiteral("CreateSession"));
        call << QVariantMap{{QStringLiteral("handle_token"), token},
            {QStringLiteral("session_handle_token"), token},
            {QStringLiteral("shortcuts"), QVariant::fromValue(shortcuts)}};
        const QDBusMessage reply = m_bus.call(call);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            std::fprintf(stderr, "CreateSession: %s\n", qPrintable(reply.errorMessage()));
            return false;
        }
        return true;
    }

private Q_SLOTS:
    void answered(uint response, const QVariantMap& results)
    {
        if (response != 0) {
            std::fprintf(stderr, "the portal answered %u\n", response);
            QCoreApplication::exit(1);
            return;
        }
        say(QStringLiteral("bound ") + results.value(QStringLiteral("session_handle")).toString());
    }

    void reported(const QDBusMessage& message)
    {
        say(message.member().toLower() + QLatin1Char(' ')
            + message.arguments().value(1).toString());
    }

private:
    QDBusConnection m_bus;
    QString m_id;
    QString m_trigger;
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s ID TRIGGER\n", argv[0]);
        return 2;
    }
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<Shortcuts>();
    PortalShortcut shortcut(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    if (!shortcut.createSession())
        return 1;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char buffer[256];
        if (::read(STDIN_FILENO, buffer, sizeof buffer) <= 0)
            QCoreApplication::quit();
    });
    return app.exec();
}

#include "vantor-portal-shortcut.moc"
