#pragma once

#include "Platform/WindowSystem.h"

#include <QJsonObject>
#include <QString>

#include <map>
#include <memory>

namespace Platform::Sway {

class IpcConnection;

// Tells watchers of every window sway maps. Sway's window events come on a connection of
// their own, which exists only while somebody watches: the rest of the time focus changes
// and title updates do not wake Vantor.
class NewWindowEvents {
public:
    explicit NewWindowEvents(QString socketPath);
    ~NewWindowEvents();

    std::unique_ptr<WindowWatch> watch(WindowSystem::WindowShown shown);

private:
    class Watch;
    struct Watchers {
        std::map<int, WindowSystem::WindowShown> byId;
        int nextId = 0;
    };

    void subscribeIfNeeded();
    void unsubscribeIfUnwatched();
    void deliver(const QJsonObject& event);

    QString m_socketPath;
    std::shared_ptr<Watchers> m_watchers = std::make_shared<Watchers>();
    std::unique_ptr<IpcConnection> m_connection;
};

} // namespace Platform::Sway
