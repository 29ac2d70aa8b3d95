#pragma once

#include "KeyboardShortcuts/HotKeyService.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

namespace Platform {

// The registrations of a hot-key service that knows each key by a name of its own (a portal
// shortcut id, a KGlobalAccel action), with what the service keeps beside it (Detail): the
// refs handed out, the event handler, and whether key events reach it.
template <typename Detail> class NamedHotKeys {
public:
    using EventHotKeyID = KeyboardShortcuts::EventHotKeyID;
    using EventHotKeyRef = KeyboardShortcuts::EventHotKeyRef;
    using KeyboardEvent = KeyboardShortcuts::KeyboardEvent;
    using OSStatus = KeyboardShortcuts::OSStatus;

    struct Entry {
        EventHotKeyID id;
        QString name;
        Detail detail;
    };
    using Entries = std::map<EventHotKeyRef, Entry>;

    // The new registration's ref; none when the name is registered already.
    std::optional<EventHotKeyRef> add(EventHotKeyID id, const QString& name, Detail detail)
    {
        for (const auto& [ref, entry] : m_entries) {
            if (entry.name == name)
                return std::nullopt;
        }
        const EventHotKeyRef ref = m_nextRef++;
        m_entries.emplace(ref, Entry{id, name, std::move(detail)});
        return ref;
    }

    bool remove(EventHotKeyRef ref) { return m_entries.erase(ref) > 0; }
    const Entries& entries() const { return m_entries; }

    void setHandler(KeyboardShortcuts::HotKeyService::EventHandler handler)
    {
        m_handler = std::move(handler);
    }
    void setEnabled(bool enabled) { m_enabled = enabled; }

    // Takes the registration back and tells the handler why; the entry, or none when the ref
    // is unknown.
    std::optional<Entry> refuse(EventHotKeyRef ref, OSStatus status)
    {
        const auto found = m_entries.find(ref);
        if (found == m_entries.end())
            return std::nullopt;
        Entry entry = std::move(found->second);
        m_entries.erase(found);
        KeyboardEvent event;
        event.kind = KeyboardEvent::hotKeyRefused;
        event.hotKeyID = entry.id;
        event.status = status;
        if (m_handler)
            m_handler(&event);
        return entry;
    }

    std::vector<EventHotKeyRef> refsNamed(const QString& name) const
    {
        std::vector<EventHotKeyRef> refs;
        for (const auto& [ref, entry] : m_entries) {
            if (entry.name == name)
                refs.push_back(ref);
        }
        return refs;
    }

    // A press or release of the named key, for every registration of it.
    void deliver(const QString& name, KeyboardEvent::Kind kind) const
    {
        if (!m_enabled || !m_handler)
            return;
        // A copy: the handler may unregister hot keys.
        std::vector<EventHotKeyID> ids;
        for (const auto& [ref, entry] : m_entries) {
            if (entry.name == name)
                ids.push_back(entry.id);
        }
        for (const EventHotKeyID& id : ids) {
            KeyboardEvent event;
            event.kind = kind;
            event.hotKeyID = id;
            m_handler(&event);
        }
    }

private:
    Entries m_entries;
    EventHotKeyRef m_nextRef = 1;
    KeyboardShortcuts::HotKeyService::EventHandler m_handler;
    bool m_enabled = false;
};

} // namespace Platform
