#include "KeyboardShortcuts/KeyboardShortcuts.h"

#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/MenuTracker.h"
#include "KeyboardShortcuts/NotificationCenter.h"
#include "KeyboardShortcuts/Preferences.h"

#include <QCoreApplication>
#include <QHash>
#include <QPointer>
#include <QUuid>

namespace KeyboardShortcuts {
namespace {

using StreamHandlers = QHash<Name, QHash<QUuid, Action>>;

struct State {
    QSet<Shortcut> registered;
    QHash<Name, QList<Action>> legacyKeyDownHandlers;
    QHash<Name, QList<Action>> legacyKeyUpHandlers;
    StreamHandlers streamKeyDownHandlers;
    StreamHandlers streamKeyUpHandlers;
    bool isEnabled = true;
    bool isPaused = false;
    PausedKeyReceiver pausedKeyReceiver;
    bool isMenuOpen = false;
    bool isInitialized = false;
    // The names last reported as sharing each shortcut.
    QHash<Shortcut, QStringList> reportedSharing;
};

State& state()
{
    static State s;
    return s;
}

void onMainQueue(std::function<void()> work)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work), Qt::QueuedConnection);
}

// The stored shortcut as last read from the preferences, for a dispatch that has already
// checked the file once.
std::optional<Shortcut> storedShortcut(const Name& name)
{
    const QVariant value = Preferences::standard().cachedObject(name.preferencesKey());
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return Shortcut::fromJson(value.toString());
}

void registerShortcut(const Shortcut& shortcut)
{
    if (state().registered.contains(shortcut))
        return;
    CarbonKeyboardShortcuts::register_(shortcut, handleOnKeyDown, handleOnKeyUp);
    state().registered.insert(shortcut);
}

void unregisterShortcut(const Shortcut& shortcut)
{
    CarbonKeyboardShortcuts::unregister(shortcut);
    state().registered.remove(shortcut);
}

template <typename Handlers>
QSet<Shortcut> storedShortcutsOf(const Handlers& keyDown, const Handlers& keyUp)
{
    QSet<Shortcut> result;
    for (const Handlers* handlers : {&keyDown, &keyUp}) {
        for (auto it = handlers->cbegin(); it != handlers->cend(); ++it) {
            if (const auto shortcut = getShortcut(it.key()))
                result.insert(*shortcut);
        }
    }
    return result;
}

QSet<Shortcut> shortcutsForLegacyHandlers()
{
    return storedShortcutsOf(state().legacyKeyDownHandlers, state().legacyKeyUpHandlers);
}

QSet<Shortcut> shortcutsForStreamHandlers()
{
    return storedShortcutsOf(state().streamKeyDownHandlers, state().streamKeyUpHandlers);
}

// Names with handlers whose stored shortcut is the given one, in alphabetical order.
QStringList boundNamesWith(const Shortcut& shortcut)
{
    Preferences::standard().refreshIfChanged();
    QSet<QString> names;
    const auto collect = [&](const auto& handlers) {
        for (auto it = handlers.cbegin(); it != handlers.cend(); ++it) {
            if (!it.value().isEmpty() && storedShortcut(it.key()) == shortcut)
                names.insert(it.key().rawValue());
        }
    };
    collect(state().legacyKeyDownHandlers);
    collect(state().legacyKeyUpHandlers);
    collect(state().streamKeyDownHandlers);
    collect(state().streamKeyUpHandlers);
    QStringList sorted = names.values();
    sorted.sort();
    return sorted;
}

void reportSharing(const Shortcut& shortcut)
{
    const QStringList names = boundNamesWith(shortcut);
    if (names.size() < 2 || state().reportedSharing.value(shortcut) == names)
        return;
    state().reportedSharing.insert(shortcut, names);
    ConsoleOutput::print(QStringLiteral("Shortcut ") + shortcut.readableDescription()
        + QStringLiteral(" is shared by ") + names.join(QStringLiteral(", "))
        + QStringLiteral("; all of them run when it is pressed"));
}

// Registers the stored shortcut of a name that has just got a handler.
void registerBoundName(const Name& name)
{
    const auto shortcut = getShortcut(name);
    if (!shortcut)
        return;
    registerShortcut(*shortcut);
    reportSharing(*shortcut);
}

void postDidChange(const Name& name)
{
    NotificationCenter::defaultCenter().post(
        shortcutByNameDidChange, {{QStringLiteral("name"), QVariant::fromValue(name)}});
}

void userDefaultsSet(const Name& name, const Shortcut& shortcut)
{
    const QString encoded = QString::fromUtf8(shortcut.toJson());
    const auto old = getShortcut(name);
    // Stored first: a hot key whose shortcut could not be stored would do nothing, as the
    // handlers look for the stored one.
    if (!Preferences::standard().set(name.preferencesKey(), encoded))
        return;
    if (old)
        unregisterShortcut(*old);
    registerShortcut(shortcut);
    reportSharing(shortcut);
    postDidChange(name);
}

void userDefaultsDisable(const Name& name)
{
    const auto old = getShortcut(name);
    if (!old)
        return;
    if (!Preferences::standard().set(name.preferencesKey(), false))
        return;
    unregisterShortcut(*old);
    postDidChange(name);
}

void userDefaultsRemove(const Name& name)
{
    const auto old = getShortcut(name);
    if (!old)
        return;
    if (!Preferences::standard().remove(name.preferencesKey()))
        return;
    unregisterShortcut(*old);
    postDidChange(name);
}

void dispatch(const Shortcut& pressed, const QHash<Name, QList<Action>>& legacy,
    const StreamHandlers& streams)
{
    if (state().isPaused)
        return;
    Preferences::standard().refreshIfChanged();
    for (auto it = legacy.cbegin(); it != legacy.cend(); ++it) {
        if (storedShortcut(it.key()) == pressed) {
            for (const Action& action : it.value())
                action();
        }
    }
    for (auto it = streams.cbegin(); it != streams.cend(); ++it) {
        if (storedShortcut(it.key()) == pressed) {
            for (const Action& action : it.value())
                action();
        }
    }
}

void addStreamHandlers(const Name& name, const QUuid& id, const QPointer<EventStream>& stream)
{
    state().streamKeyDownHandlers[name].insert(id, [stream] {
        if (stream)
            stream->yield(EventType::keyDown);
    });
    state().streamKeyUpHandlers[name].insert(id, [stream] {
        if (stream)
            stream->yield(EventType::keyUp);
    });
    registerBoundName(name);
}

void removeStreamHandlers(const Name& name, const QUuid& id)
{
    // The name stays a key of both maps, so its shortcut still counts as in use below.
    state().streamKeyDownHandlers[name].remove(id);
    state().streamKeyUpHandlers[name].remove(id);
    const auto shortcut = getShortcut(name);
    if (shortcut && !shortcutsForLegacyHandlers().contains(*shortcut)
        && !shortcutsForStreamHandlers().contains(*shortcut))
        unregisterShortcut(*shortcut);
}

} // namespace

std::optional<Shortcut> getShortcut(const Name& name)
{
    const QVariant value = Preferences::standard().object(name.preferencesKey());
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return Shortcut::fromJson(value.toString());
}

void setShortcut(const std::optional<Shortcut>& shortcut, const Name& name)
{
    if (shortcut)
        userDefaultsSet(name, *shortcut);
    else if (name.defaultShortcut())
        userDefaultsDisable(name);
    else
        userDefaultsRemove(name);
}

void reset(const QList<Name>& names)
{
    for (const Name& name : names)
        setShortcut(name.defaultShortcut(), name);
}

void resetAll()
{
    reset(allNames().values());
}

QSet<Name> allNames()
{
    QSet<Name> names;
    const QVariantMap entries = Preferences::standard().dictionaryRepresentation();
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        if (it.key().startsWith(preferencesKeyPrefix))
            names.insert(Name(it.key().mid(preferencesKeyPrefix.size())));
    }
    return names;
}

void onKeyDown(const Name& name, Action action)
{
    state().legacyKeyDownHandlers[name].append(std::move(action));
    registerBoundName(name);
}

void onKeyUp(const Name& name, Action action)
{
    state().legacyKeyUpHandlers[name].append(std::move(action));
    registerBoundName(name);
}

std::unique_ptr<EventStream> events(const Name& name)
{
    auto stream = std::make_unique<EventStream>();
    const QUuid id = QUuid::createUuid();
    const QPointer<EventStream> weak(stream.get());
    stream->setOnTermination(
        [name, id] { onMainQueue([name, id] { removeStreamHandlers(name, id); }); });
    onMainQueue([name, id, weak] { addStreamHandlers(name, id, weak); });
    return stream;
}

std::unique_ptr<EventStream> events(EventType type, const Name& name)
{
    auto stream = events(name);
    auto filtered = std::make_unique<EventStream>(type);
    // The filtered stream owns the unfiltered one and passes its events on.
    QObject::connect(
        stream.get(), &EventStream::eventReceived, filtered.get(), &EventStream::yield);
    filtered->setOnTermination(
        [inner = std::shared_ptr<EventStream>(std::move(stream))] { inner->cancel(); });
    return filtered;
}

void enable(const QList<Name>& names)
{
    for (const Name& name : names) {
        if (const auto shortcut = getShortcut(name))
            registerShortcut(*shortcut);
    }
}

void disable(const QList<Name>& names)
{
    for (const Name& name : names) {
        if (const auto shortcut = getShortcut(name))
            unregisterShortcut(*shortcut);
    }
}

void removeAllHandlers()
{
    const QSet<Shortcut> inUse = shortcutsForLegacyHandlers() | shortcutsForStreamHandlers();
    for (const Shortcut& shortcut : inUse)
        unregisterShortcut(shortcut);
    state().legacyKeyDownHandlers.clear();
    state().legacyKeyUpHandlers.clear();
    state().streamKeyDownHandlers.clear();
    state().streamKeyUpHandlers.clear();
    state().reportedSharing.clear();
}

void unregisterAll()
{
    const QSet<Shortcut> registered = state().registered;
    for (const Shortcut& shortcut : registered)
        unregisterShortcut(shortcut);
}

bool isEnabled()
{
    return state().isEnabled;
}

void setEnabled(bool enabled)
{
    if (state().isEnabled == enabled)
        return;
    state().isEnabled = enabled;
    CarbonKeyboardShortcuts::updateEventHandler();
}

bool isPaused()
{
    return state().isPaused;
}

void setPaused(bool paused)
{
    state().isPaused = paused;
}

bool isMenuOpen()
{
    return state().isMenuOpen;
}

void setMenuOpen(bool open)
{
    if (state().isMenuOpen == open)
        return;
    state().isMenuOpen = open;
    CarbonKeyboardShortcuts::updateEventHandler();
}

void initialize()
{
    if (state().isInitialized || !QCoreApplication::instance())
        return;
    MenuTracker::start([](bool open) { setMenuOpen(open); });
    state().isInitialized = true;
}

QSet<Shortcut> registeredShortcuts()
{
    return state().registered;
}

bool isHotKeyRegistered(const Name& name)
{
    const auto shortcut = getShortcut(name);
    return shortcut && CarbonKeyboardShortcuts::isRegistered(*shortcut);
}

void setPausedKeyReceiver(PausedKeyReceiver receiver)
{
    state().pausedKeyReceiver = std::move(receiver);
}

void handleOnKeyDown(const Shortcut& shortcut)
{
    if (state().isPaused && state().pausedKeyReceiver) {
        // A copy: the receiver may replace itself.
        const PausedKeyReceiver receiver = state().pausedKeyReceiver;
        receiver(shortcut);
        return;
    }
    // Copies: a handler may add handlers while they run.
    const auto legacy = state().legacyKeyDownHandlers;
    const auto streams = state().streamKeyDownHandlers;
    dispatch(shortcut, legacy, streams);
}

void handleOnKeyUp(const Shortcut& shortcut)
{
    const auto legacy = state().legacyKeyUpHandlers;
    const auto streams = state().streamKeyUpHandlers;
    dispatch(shortcut, legacy, streams);
}

} // namespace KeyboardShortcuts
