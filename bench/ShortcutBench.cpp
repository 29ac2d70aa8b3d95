// Key dispatch and hot-key registration, on the benchmark's private X server.
#include "Benchmarks.h"

#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Preferences.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <array>

namespace Bench {
namespace {

using namespace KeyboardShortcuts;

constexpr int storedNames = 1000;
constexpr int rounds = 500;

const ModifierFlags threeModifiers
    = ModifierFlag::control | ModifierFlag::option | ModifierFlag::shift;

// The names share twenty shortcuts, so that the X server holds only twenty grabs.
Shortcut shortcutOfName(int index)
{
    static const std::array<Key, 20> keys{Key::a, Key::b, Key::c, Key::d, Key::e, Key::f, Key::g,
        Key::h, Key::i, Key::j, Key::l, Key::m, Key::n, Key::o, Key::p, Key::q, Key::r, Key::s,
        Key::t, Key::u};
    return Shortcut(keys[static_cast<size_t>(index) % keys.size()], threeModifiers);
}

QString nameOf(int index)
{
    return QStringLiteral("bench_") + QString::number(index);
}

void storeNames()
{
    QJsonObject entries;
    for (int i = 0; i < storedNames; ++i)
        entries.insert(
            preferencesKeyPrefix + nameOf(i), QString::fromUtf8(shortcutOfName(i).toJson()));
    const QString path = Preferences::standard().filePath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(entries).toJson());
        file.commit();
    }
}

// One key-up through the hot-key layer's event entry: find the hot key, then every one of
// the 1,000 names, each decoding its stored shortcut.
void keyUpDispatch()
{
    storeNames();
    int calls = 0;
    for (int i = 0; i < storedNames; ++i)
        onKeyUp(Name(nameOf(i)), [&calls] { ++calls; });
    const Shortcut pressed = shortcutOfName(7);
    const quint32 id = CarbonKeyboardShortcuts::hotKeys().key(pressed);
    KeyboardEvent event;
    event.kind = KeyboardEvent::hotKeyReleased;
    event.hotKeyID = {CarbonKeyboardShortcuts::hotKeySignature, id};

    QElapsedTimer timer;
    timer.start();
    for (int round = 0; round < rounds; ++round)
        CarbonKeyboardShortcuts::carbonKeyboardShortcutsEventHandler(&event);
    const double perKeyUp = static_cast<double>(timer.nsecsElapsed()) / rounds / 1e6;
    if (id == 0 || calls != rounds * storedNames / 20)
        std::fprintf(stderr, "shortcuts: dispatch ran %d handlers, expected %d\n", calls,
            rounds * storedNames / 20);
    report(QStringLiteral("key_up_dispatch_1000_names_ms"), perKeyUp, QStringLiteral("ms"));
    removeAllHandlers();
    unregisterAll();
    QFile::remove(Preferences::standard().filePath());
}

// A grab of every lock variant, checked with the X server, and its release.
void registerAndUnregister()
{
    const Shortcut shortcut(Key::k, threeModifiers);
    const auto nothing = [](const Shortcut&) {};
    QElapsedTimer timer;
    timer.start();
    for (int round = 0; round < rounds; ++round) {
        CarbonKeyboardShortcuts::register_(shortcut, nothing, nothing);
        CarbonKeyboardShortcuts::unregister(shortcut);
    }
    const double perPair = static_cast<double>(timer.nsecsElapsed()) / rounds / 1e6;
    report(QStringLiteral("register_unregister_shortcut_ms"), perPair, QStringLiteral("ms"));
}

} // namespace

Group shortcutBenchmarks()
{
    return {"shortcuts", [](TestDesktop&) {
                Preferences::setFolderName(QStringLiteral("Vantor"));
                // 1,000 names on 40 combinations: the lines saying so are no figures.
                auto lines = KeyboardShortcuts::ConsoleOutput::setSink([](const QString&) { });
                keyUpDispatch();
                registerAndUnregister();
                KeyboardShortcuts::ConsoleOutput::setSink(std::move(lines));
            }};
}

} // namespace Bench
