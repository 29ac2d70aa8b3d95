#include "Platform/Sway/SwayHotKeyService.h"

#include "KeyboardShortcuts/KeyCodeTable.h"
#include "KeyboardShortcuts/ModifierFlags.h"
#include "Platform/Sway/IpcConnection.h"
#include "Platform/WaylandRawKey.h"
#include "Util/Logging.h"

#include <QJsonArray>

namespace Platform::Sway {
namespace {

using namespace KeyboardShortcuts;

const QLatin1String commandPrefix("nop vantor:");
const QLatin1String releaseSuffix(":up");

// By key code: the key's place on the keyboard, as on X11. A symbol (even with --to-code)
// would be looked up in the layout, and a shortcut would move with the layout.
QString bindCommands(const QString& verb, const KeyCombination& combination, EventHotKeyRef ref)
{
    const QString keys = combination.toBindcode();
    const QString command
        = ref ? QStringLiteral(" ") + commandPrefix + QString::number(ref) : QString();
    return QStringLiteral("%1 --no-repeat %2%3; %1 --release %2%4")
        .arg(verb, keys, command, command.isEmpty() ? QString() : command + releaseSuffix);
}

} // namespace

SwayHotKeyService::SwayHotKeyService(const QString& socketPath)
    : m_socketPath(socketPath), m_commands(std::make_unique<IpcConnection>(socketPath))
{
}

SwayHotKeyService::~SwayHotKeyService()
{
    // Runtime bindings outlive the client that made them: take them back.
    for (const auto& [ref, registration] : m_registrations)
        m_commands->send(MessageType::RunCommand,
            bindCommands(QStringLiteral("unbindcode"), registration.combination, 0).toUtf8());
    m_commands->waitForReplies();
}

std::optional<KeyCombination> SwayHotKeyService::combinationOf(quint32 keyCode, quint32 modifiers)
{
    const auto code = KeyCodeTable::xKeycode(int(keyCode));
    if (!code)
        return std::nullopt;
    KeyCombination combination{0, quint32(*code)};
    if (modifiers & CarbonModifier::shiftKey)
        combination.modifierMask |= shiftMask;
    if (modifiers & CarbonModifier::controlKey)
        combination.modifierMask |= controlMask;
    if (modifiers & CarbonModifier::optionKey)
        combination.modifierMask |= mod1Mask;
    if (modifiers & CarbonModifier::cmdKey)
        combination.modifierMask |= mod4Mask;
    return combination;
}

OSStatus SwayHotKeyService::registerEventHotKey(
    quint32 keyCode, quint32 modifiers, EventHotKeyID id, EventHotKeyRef* outRef)
{
    const auto combination = combinationOf(keyCode, modifiers);
    if (!combination)
        return eventHotKeyInvalidErr;
    if (!m_commands->isConnected())
        return eventInternalErr;
    for (const auto& [ref, registration] : m_registrations) {
        if (registration.combination == *combination)
            return eventHotKeyExistsErr;
    }
    if (isConfigured(*combination))
        return eventHotKeyExistsErr;
    const EventHotKeyRef ref = m_nextRef++;
    if (!runCommands(bindCommands(QStringLiteral("bindcode"), *combination, ref)))
        return eventInternalErr;
    m_registrations.emplace(ref, Registration{id, *combination});
    listenForBindings();
    if (outRef)
        *outRef = ref;
    return noErr;
}

OSStatus SwayHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    const auto found = m_registrations.find(ref);
    if (found == m_registrations.end())
        return eventInternalErr;
    const KeyCombination combination = found->second.combination;
    m_registrations.erase(found);
    return runCommands(bindCommands(QStringLiteral("unbindcode"), combination, 0))
        ? noErr
        : eventInternalErr;
}

OSStatus SwayHotKeyService::installEventHandler(EventHandler handler)
{
    m_handler = std::move(handler);
    return noErr;
}

void SwayHotKeyService::setHotKeyEventsEnabled(bool enabled)
{
    m_enabled = enabled;
}

std::optional<RawKey> SwayHotKeyService::rawKey(quint32 nativeScanCode, quint32 nativeModifiers)
{
    return waylandRawKey(nativeScanCode, nativeModifiers);
}

bool SwayHotKeyService::isHeldByAnotherClient(quint32 keyCode, quint32 modifiers)
{
    const auto combination = combinationOf(keyCode, modifiers);
    return combination && isConfigured(*combination);
}

bool SwayHotKeyService::isConfigured(const KeyCombination& combination)
{
    const auto reply = m_commands->request(MessageType::GetConfig);
    if (!reply)
        return false;
    const QString config = reply->object().value(QLatin1String("config")).toString();
    return configuredCombinations(config).contains(combination);
}

bool SwayHotKeyService::runCommands(const QString& commands)
{
    const auto reply = m_commands->request(MessageType::RunCommand, commands.toUtf8());
    if (!reply)
        return false;
    bool allDone = true;
    for (const QJsonValue& result : reply->array()) {
        if (!result.toObject().value(QLatin1String("success")).toBool()) {
            qCWarning(lcShell).noquote()
                << "Sway refused" << commands << "-"
                << result.toObject().value(QLatin1String("error")).toString();
            allDone = false;
        }
    }
    return allDone;
}

// Binding events come on a connection of their own, made with the first hot key.
void SwayHotKeyService::listenForBindings()
{
    if (m_bindings && m_bindings->isConnected())
        return;
    m_bindings = IpcConnection::listening(
        m_socketPath, EventType::Binding, [this](const QJsonObject& event) { dispatch(event); });
}

void SwayHotKeyService::dispatch(const QJsonObject& event)
{
    QString command = event.value(QLatin1String("binding"))
                          .toObject()
                          .value(QLatin1String("command"))
                          .toString();
    if (!command.startsWith(commandPrefix) || !m_enabled || !m_handler)
        return;
    command.remove(0, commandPrefix.size());
    const bool released = command.endsWith(releaseSuffix);
    if (released)
        command.chop(releaseSuffix.size());
    const auto found = m_registrations.find(command.toULongLong());
    if (found == m_registrations.end())
        return;
    KeyboardEvent keyEvent;
    keyEvent.kind = released ? KeyboardEvent::hotKeyReleased : KeyboardEvent::hotKeyPressed;
    keyEvent.hotKeyID = found->second.id;
    m_handler(&keyEvent);
}

} // namespace Platform::Sway
