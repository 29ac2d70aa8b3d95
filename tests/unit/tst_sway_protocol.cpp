// Talking to sway without sway: the IPC framing and connection (against a local server that
// answers as sway would), reading its tree and outputs, its configured key bindings, hot-key
// combinations, and choosing the backend from the session's environment.
#include "Platform/Backend.h"
#include "Platform/Sway/IpcConnection.h"
#include "Platform/Sway/KeyCombination.h"
#include "Platform/Sway/SwayHotKeyService.h"
#include "Platform/Sway/Tree.h"
#include "Platform/WindowsOfProcesses.h"

#include "KeyboardShortcuts/ModifierFlags.h"

#include "TestMain.h"

#include <QJsonArray>
#include <QLocalServer>
#include <QSignalSpy>

using namespace Platform;
using namespace Platform::Sway;

namespace {

QByteArray readFile(const QString& name)
{
    QFile file(QStringLiteral(VANTOR_TEST_DATA_DIR "/sway/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray reply(MessageType type, const QByteArray& json)
{
    return encodeMessage(type, json);
}

QByteArray eventMessage(EventType type, const QByteArray& json)
{
    QByteArray bytes = encodeMessage(MessageType::RunCommand, json);
    const quint32 code = quint32(type);
    std::memcpy(bytes.data() + 10, &code, sizeof code);
    return bytes;
}

// A local server that plays sway: it reads requests and answers as the test says.
class FakeSway {
public:
    FakeSway()
    {
        m_server.setSocketOptions(QLocalServer::UserAccessOption);
        QVERIFY(m_server.listen(
            QStringLiteral("vantor-fake-sway-%1").arg(QCoreApplication::applicationPid())));
    }
    QString path() const { return m_server.fullServerName(); }
    QLocalSocket* client()
    {
        if (!m_client && m_server.waitForNewConnection(2000))
            m_client = m_server.nextPendingConnection();
        return m_client;
    }
    // The requests that arrived, as (type, payload).
    QList<Message> requests(int count)
    {
        while (m_requests.size() < count && client()->waitForReadyRead(2000)) {
            m_reader.append(client()->readAll());
            while (auto message = m_reader.next())
                m_requests.append(*message);
        }
        return m_requests;
    }
    void write(const QByteArray& bytes)
    {
        client()->write(bytes);
        client()->flush();
    }

private:
    QLocalServer m_server;
    QLocalSocket* m_client = nullptr;
    MessageReader m_reader;
    QList<Message> m_requests;
};

QProcessEnvironment environment(std::initializer_list<std::pair<const char*, QString>> values)
{
    QProcessEnvironment result;
    for (const auto& [name, value] : values)
        result.insert(QString::fromLatin1(name), value);
    return result;
}

const WindowInfo* windowWithId(const QList<WindowInfo>& windows, WindowId id)
{
    for (const WindowInfo& window : windows) {
        if (window.id == id)
            return &window;
    }
    return nullptr;
}

} // namespace

class SwayProtocolTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void framingRoundTrips()
    {
        const QByteArray bytes = encodeMessage(MessageType::GetTree, "{}");
        QCOMPARE(bytes.left(6), QByteArray("i3-ipc"));
        QCOMPARE(bytes.size(), 14 + 2);
        MessageReader reader;
        // Arriving a byte at a time, the message is whole only at its last byte.
        for (qsizetype i = 0; i < bytes.size() - 1; ++i) {
            reader.append(bytes.mid(i, 1));
            QVERIFY(!reader.next());
        }
        reader.append(bytes.right(1));
        const auto message = reader.next();
        QVERIFY(message);
        QCOMPARE(message->type, quint32(MessageType::GetTree));
        QCOMPARE(message->payload, QByteArray("{}"));
        QVERIFY(!message->isEvent());
    }

    void readerRefusesWhatIsNotAMessage()
    {
        MessageReader garbage;
        garbage.append("HTTP/1.1 200 OK\r\n\r\n");
        QVERIFY(!garbage.next());
        QVERIFY(garbage.hasFailed());

        // A length far beyond any tree is not waited for.
        QByteArray huge = encodeMessage(MessageType::GetTree, {});
        const quint32 length = 0xfffffff0u;
        std::memcpy(huge.data() + 6, &length, sizeof length);
        MessageReader reader;
        reader.append(huge);
        QVERIFY(!reader.next());
        QVERIFY(reader.hasFailed());
    }

    void repliesComeInOrderAndEventsApart()
    {
        FakeSway sway;
        IpcConnection connection(sway.path());
        QVERIFY(connection.isConnected());
        QVERIFY(sway.client());
        QStringList answered;
        connection.send(MessageType::RunCommand, "first", [&](const QJsonDocument& document) {
            answered.append(
                document.array().first().toObject().value(QLatin1String("name")).toString());
        });
        connection.send(MessageType::RunCommand, "second", [&](const QJsonDocument& document) {
            answered.append(
                document.array().first().toObject().value(QLatin1String("name")).toString());
        });
        connection.flush();
        const QList<Message> requests = sway.requests(2);
        QCOMPARE(requests.size(), 2);
        QCOMPARE(requests[0].payload, QByteArray("first"));
        QCOMPARE(requests[1].payload, QByteArray("second"));

        QSignalSpy events(&connection, &IpcConnection::eventReceived);
        sway.write(reply(MessageType::RunCommand, R"([{"name":"one"}])")
            + eventMessage(EventType::Window, R"({"change":"new"})")
            + reply(MessageType::RunCommand, R"([{"name":"two"}])"));
        QVERIFY(connection.waitForReplies());
        QCOMPARE(answered, QStringList({QStringLiteral("one"), QStringLiteral("two")}));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.first().at(0).value<EventType>(), EventType::Window);
        QCOMPARE(events.first().at(1).toJsonObject().value(QLatin1String("change")).toString(),
            QStringLiteral("new"));
    }

    void aRequestWaitsForItsOwnReply()
    {
        FakeSway sway;
        IpcConnection connection(sway.path());
        bool earlierAnswered = false;
        connection.send(MessageType::RunCommand, "earlier",
            [&](const QJsonDocument&) { earlierAnswered = true; });
        QVERIFY(sway.client());
        sway.write(reply(MessageType::RunCommand, "[]")
            + reply(MessageType::GetOutputs, R"([{"name":"out"}])"));
        const auto outputs = connection.request(MessageType::GetOutputs);
        QVERIFY(earlierAnswered);
        QVERIFY(outputs);
        QCOMPARE(outputs->array().first().toObject().value(QLatin1String("name")).toString(),
            QStringLiteral("out"));
    }

    void swayGoingAwayIsToldOnce()
    {
        auto sway = std::make_unique<FakeSway>();
        IpcConnection connection(sway->path());
        QVERIFY(sway->client());
        QSignalSpy gone(&connection, &IpcConnection::disconnected);
        sway.reset();
        QVERIFY(gone.wait(2000));
        QVERIFY(!connection.isConnected());
        // Nothing is waited for once sway is gone.
        QVERIFY(!connection.request(MessageType::GetTree));
        QCOMPARE(gone.size(), 1);
    }

    void garbageFromTheSocketEndsTheConnection()
    {
        FakeSway sway;
        IpcConnection connection(sway.path());
        QVERIFY(sway.client());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("not a message")));
        sway.write("this is not sway talking");
        QVERIFY(!connection.request(MessageType::GetTree));
        QVERIFY(!connection.isConnected());
    }

    void aSocketNobodyListensOnIsNotConnected()
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot reach sway")));
        IpcConnection connection(QStringLiteral("/nonexistent/sway-ipc.sock"));
        QVERIFY(!connection.isConnected());
        QVERIFY(!connection.request(MessageType::GetVersion));
    }

    void windowsOfTheTreeFrontToBack()
    {
        const QJsonObject tree
            = QJsonDocument::fromJson(readFile(QStringLiteral("tree.json"))).object();
        QVERIFY(!tree.isEmpty());
        const QList<WindowInfo> windows = windowsInTree(tree);
        QList<WindowId> order;
        for (const WindowInfo& window : windows)
            order.append(window.id);
        // Focused floating foot, then the tiled xlogo beside it, then the other workspace,
        // then the scratchpad.
        QCOMPARE(order, (QList<WindowId>{5, 6, 8, 9}));

        const WindowInfo* foot = windowWithId(windows, 5);
        QCOMPARE(foot->pid, 31668);
        QCOMPARE(foot->applicationId, QStringLiteral("foot"));
        QCOMPARE(foot->wmClass, QStringLiteral("foot"));
        QCOMPARE(foot->kind, WindowKind::Normal);
        QVERIFY(foot->isOnScreen);
        QVERIFY(foot->isNormalLayer);
        // The title bar belongs to the frame.
        QCOMPARE(foot->frame, (Frame{100, 80, 1280, 720}));

        const WindowInfo* xlogo = windowWithId(windows, 6);
        QCOMPARE(xlogo->wmClass, QStringLiteral("XLogo"));
        QCOMPARE(xlogo->wmClassInstance, QStringLiteral("xlogo"));
        QVERIFY(xlogo->applicationId.isEmpty());
        QCOMPARE(xlogo->typeName, QStringLiteral("normal"));
        QCOMPARE(xlogo->frame, (Frame{0, 0, 1280, 720}));

        QVERIFY(!windowWithId(windows, 8)->isOnScreen); // on workspace 2, not shown
        const WindowInfo* scratch = windowWithId(windows, 9);
        QVERIFY(!scratch->isOnScreen);
        QVERIFY(!scratch->isNormalLayer);
    }

    void windowsOfProcessesOldestFirst()
    {
        QList<WindowInfo> windows(3);
        windows[0].id = 12;
        windows[0].pid = 7;
        windows[1].id = 4;
        windows[1].pid = 7;
        windows[2].id = 9;
        windows[2].pid = 8;
        const auto result = Platform::windowsOfProcesses(windows, {7, 8, 99}, 1);
        QCOMPARE(result, (QList<QList<WindowId>>{{4}, {9}, {}}));
        QCOMPARE(Platform::windowsOfProcesses(windows, {7}, 100).first(), (QList<WindowId>{4, 12}));
    }

    void nodesThatAreNotWindows()
    {
        QVERIFY(!windowOfNode(QJsonObject{{QStringLiteral("type"), QStringLiteral("workspace")}}));
        // A container holding others has no process of its own.
        QVERIFY(!windowOfNode(QJsonObject{
            {QStringLiteral("type"), QStringLiteral("con")}, {QStringLiteral("pid"), 0}}));
        QVERIFY(!windowOfNode(QJsonObject{}));
        // Odd values read as nothing rather than as windows at odd places.
        const auto odd = windowOfNode(
            QJsonObject{{QStringLiteral("type"), QStringLiteral("con")}, {QStringLiteral("id"), 3},
                {QStringLiteral("pid"), 44}, {QStringLiteral("rect"), QStringLiteral("wide")}});
        QVERIFY(odd);
        QCOMPARE(odd->frame, Frame{});
    }

    void screenSizeOfTheFocusedOutput()
    {
        const QJsonArray outputs
            = QJsonDocument::fromJson(readFile(QStringLiteral("outputs.json"))).array();
        QCOMPARE(screenSizeOfOutputs(outputs), (ScreenSize{1280, 720}));

        const auto output = [](const char* name, bool active, bool focused, int width, int height) {
            return QJsonObject{{QStringLiteral("name"), QLatin1String(name)},
                {QStringLiteral("active"), active}, {QStringLiteral("focused"), focused},
                {QStringLiteral("rect"),
                    QJsonObject{{QStringLiteral("x"), 0}, {QStringLiteral("y"), 0},
                        {QStringLiteral("width"), width}, {QStringLiteral("height"), height}}}};
        };
        // A 4K output at scale 2 is 1920 by 1080 in layout pixels.
        QCOMPARE(
            screenSizeOfOutputs({output("off", false, false, 800, 600),
                output("left", true, false, 1280, 1024), output("right", true, true, 1920, 1080)}),
            (ScreenSize{1920, 1080}));
        QCOMPARE(screenSizeOfOutputs({output("off", false, true, 800, 600),
                     output("left", true, false, 1280, 1024)}),
            (ScreenSize{1280, 1024}));
        QCOMPARE(screenSizeOfOutputs({}), ScreenSize{});
    }

    void configuredBindings()
    {
        const QString config
            = QStringLiteral("set $mod Mod4\n"
                             "set $mod2 Mod1\n"
                             "# bindsym Shift+Mod1+7 nop commented out\n"
                             "bindsym $mod+Return exec foot\n"
                             "bindsym --no-repeat --to-code $mod2+Shift+2 nop taken\n"
                             "bindcode Ctrl+38 nop by code\n"
                             "bindsym {\n"
                             "    $mod+d exec menu\n"
                             "}\n"
                             "mode \"resize\" {\n"
                             "    bindsym Shift+Mod1+3 resize grow width 10px\n"
                             "}\n"
                             "bindsym Ctrl+Nosuchkey nop nothing\n");
        const QList<KeyCombination> combinations = configuredCombinations(config);
        QVERIFY(combinations.contains((KeyCombination{mod4Mask, 36}))); // Return
        QVERIFY(combinations.contains((KeyCombination{mod1Mask | shiftMask, 11}))); // 2
        QVERIFY(combinations.contains((KeyCombination{controlMask, 38}))); // a, by code
        QVERIFY(combinations.contains((KeyCombination{mod4Mask, 40}))); // d, in a block
        QVERIFY(!combinations.contains((KeyCombination{mod1Mask | shiftMask, 12}))); // resize mode
        QVERIFY(!combinations.contains((KeyCombination{mod1Mask | shiftMask, 16}))); // comment
        QCOMPARE(combinations.size(), 4);
    }

    void hotKeyCombinations()
    {
        using namespace KeyboardShortcuts;
        // The "1" key (virtual key code 18) with Shift and Option.
        const auto combination = SwayHotKeyService::combinationOf(
            18, CarbonModifier::shiftKey | CarbonModifier::optionKey);
        QVERIFY(combination);
        QCOMPARE(combination->toBindcode(), QStringLiteral("Shift+Mod1+10"));
        QCOMPARE(SwayHotKeyService::combinationOf(
                     18, CarbonModifier::cmdKey | CarbonModifier::controlKey)
                     ->toBindcode(),
            QStringLiteral("Ctrl+Mod4+10"));
        QVERIFY(!SwayHotKeyService::combinationOf(0xffff, 0));

        // Keys from Qt's Wayland events come back as the same combination.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot reach sway")));
        SwayHotKeyService service(QStringLiteral("/nonexistent/sway.sock"));
        const auto raw = service.rawKey(10, shiftMask | mod1Mask | mod2Mask);
        QVERIFY(raw);
        QCOMPARE(raw->keyCode, 18u);
        QCOMPARE(raw->modifiers,
            quint32(
                CarbonModifier::shiftKey | CarbonModifier::optionKey | CarbonModifier::numLock));
    }

    void backendFromTheSession()
    {
        QCOMPARE(
            chooseBackend(environment({{"DISPLAY", QStringLiteral(":0")}})).backend, Backend::X11);
        const BackendChoice sway = chooseBackend(environment(
            {{"DISPLAY", QStringLiteral(":0")}, {"WAYLAND_DISPLAY", QStringLiteral("wayland-1")},
                {"SWAYSOCK", QStringLiteral("/run/sway.sock")}}));
        QCOMPARE(sway.backend, Backend::Sway);
        QCOMPARE(sway.swaySocket, QStringLiteral("/run/sway.sock"));
        QVERIFY(!sway.forced);

        // XWayland alone is no way to other apps' windows.
        const BackendChoice gnome = chooseBackend(environment(
            {{"DISPLAY", QStringLiteral(":0")}, {"XDG_SESSION_TYPE", QStringLiteral("wayland")},
                {"XDG_CURRENT_DESKTOP", QStringLiteral("GNOME")}}));
        QCOMPARE(gnome.backend, Backend::None);
        QVERIFY(gnome.problem.contains(QLatin1String("Wayland session (GNOME)")));

        // A Plasma session is taken for KWin's only when KWin is on the session bus.
        const BackendChoice plasma
            = chooseBackend(environment({{"WAYLAND_DISPLAY", QStringLiteral("wayland-0")},
                {"XDG_CURRENT_DESKTOP", QStringLiteral("KDE")}}));
        QCOMPARE(plasma.backend, Backend::None);
        QVERIFY(plasma.problem.contains(QLatin1String("Wayland session (KDE)")));

        const BackendChoice nothing = chooseBackend(QProcessEnvironment());
        QCOMPARE(nothing.backend, Backend::None);
        QVERIFY(nothing.problem.contains(QLatin1String("DISPLAY")));

        // An I3SOCK that does not lead to sway is not taken for it.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot reach sway")));
        QCOMPARE(chooseBackend(environment({{"DISPLAY", QStringLiteral(":0")},
                                   {"I3SOCK", QStringLiteral("/nonexistent/i3.sock")}}))
                     .backend,
            Backend::X11);
    }

    void backendAskedForByName()
    {
        QVERIFY(!forcedBackend(environment({{"DISPLAY", QStringLiteral(":0")}})));
        const auto x11 = forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("x11")},
            {"SWAYSOCK", QStringLiteral("/run/sway.sock")}, {"DISPLAY", QStringLiteral(":1")}}));
        QCOMPARE(x11->backend, Backend::X11);
        QVERIFY(x11->forced);

        const auto noDisplay
            = forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("x11")}}));
        QCOMPARE(noDisplay->backend, Backend::None);
        QCOMPARE(noDisplay->problem,
            QStringLiteral("VANTOR_BACKEND=x11, but there is no X display (DISPLAY is not set)."));

        const auto viaI3 = forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("sway")},
            {"I3SOCK", QStringLiteral("/run/i3.sock")}}));
        QCOMPARE(viaI3->backend, Backend::Sway);
        QCOMPARE(viaI3->swaySocket, QStringLiteral("/run/i3.sock"));
        QCOMPARE(forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("sway")}}))->backend,
            Backend::None);

        const auto kwin = forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("kwin")},
            {"SWAYSOCK", QStringLiteral("/run/sway.sock")}}));
        QCOMPARE(kwin->backend, Backend::KWin);
        QVERIFY(kwin->forced);

        const auto unknown
            = forcedBackend(environment({{"VANTOR_BACKEND", QStringLiteral("kwin9")}}));
        QCOMPARE(unknown->backend, Backend::None);
        QVERIFY(unknown->problem.contains(QLatin1String("kwin9")));
    }
};

VANTOR_UNIT_TEST_MAIN(SwayProtocolTest)
#include "tst_sway_protocol.moc"
