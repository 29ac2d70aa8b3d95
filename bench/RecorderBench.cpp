// The shortcut recorder: from the key press that completes a combination to the combination
// in the preferences file, on the benchmark's private X server with real key events.
#include "Benchmarks.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Preferences.h"
#include "KeyboardShortcuts/RecorderControl.h"

#include "XInput.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <array>
#include <memory>

Q_IMPORT_QML_PLUGIN(KeyboardShortcutsPlugin)

namespace Bench {
namespace {

using namespace KeyboardShortcuts;

constexpr int rounds = 40;
constexpr std::uint8_t controlKeycode = 37;
// A and B on the test server's keyboard, taken in turns so that every round stores a change.
constexpr std::array<std::uint8_t, 2> letterKeycodes{38, 56};

const QByteArray hostQml = R"(
import QtQuick
import KeyboardShortcuts as KeyboardShortcuts
Window {
    width: 320; height: 120; visible: true
    KeyboardShortcuts.Recorder { objectName: "recorder"; x: 20; y: 40; name: "benchRecorder" }
}
)";

QString storedEntry()
{
    QFile file(Preferences::standard().filePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll())
        .object()
        .value(QStringLiteral("KeyboardShortcuts_benchRecorder"))
        .toString();
}

// One round: focus the field, hold Control, and time the letter's press until the recorder
// has stored the combination (the file is written before it says so).
double timeOneRecording(FakeInput& input, QWindow* window, QQuickItem* field,
    RecorderControl* control, std::uint8_t letter)
{
    const QPointF centre = field->mapToGlobal(QPointF(field->width() / 2, field->height() / 2));
    QSignalSpy recording(control, &RecorderControl::recordingChanged);
    if (!clickInto(input, window, centre) || (!control->isRecording() && !recording.wait(5000)))
        return -1;
    input.keyDown(controlKeycode);
    input.sync();
    QSignalSpy stored(control, &RecorderControl::change);
    QElapsedTimer timer;
    timer.start();
    input.keyDown(letter);
    input.sync();
    const bool done = stored.wait(5000);
    const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    input.keyUp(letter);
    input.keyUp(controlKeycode);
    input.sync();
    return done && !storedEntry().isEmpty() ? elapsed : -1;
}

void keyPressToStored()
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(hostQml, QUrl(QStringLiteral("qrc:/bench/RecorderHost.qml")));
    std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow*>(component.create()));
    if (!window || !QTest::qWaitForWindowActive(window.get())) {
        std::fprintf(stderr, "recorder: the host window did not show: %s\n",
            qPrintable(component.errorString()));
        return;
    }
    auto* recorder = window->findChild<QQuickItem*>(QStringLiteral("recorder"));
    auto* field = qvariant_cast<QQuickItem*>(recorder->property("field"));
    auto* control = qvariant_cast<RecorderControl*>(recorder->property("control"));
    FakeInput input;
    double total = 0;
    for (int round = 0; round < rounds; ++round) {
        const double elapsed = timeOneRecording(
            input, window.get(), field, control, letterKeycodes[round % letterKeycodes.size()]);
        if (elapsed < 0) {
            std::fprintf(stderr, "recorder: round %d did not store its shortcut\n", round);
            return;
        }
        total += elapsed;
    }
    report(QStringLiteral("recorder_keypress_to_stored_ms"), total / rounds, QStringLiteral("ms"));
}

} // namespace

Group recorderBenchmarks()
{
    return {"recorder", [](TestDesktop&) {
                Preferences::setFolderName(QStringLiteral("Vantor"));
                keyPressToStored();
                unregisterAll();
                QFile::remove(Preferences::standard().filePath());
            }};
}

} // namespace Bench
