#include "Platform/Sway/NewWindowEvents.h"

#include "Platform/Sway/IpcConnection.h"
#include "Platform/Sway/Tree.h"


namespace Platform::Sway {

class NewWindowEvents::Watch final : public WindowWatch {
public:
    Watch(NewWindowEvents& events, int id)
        : m_events(&events), m_watchers(events.m_watchers), m_id(id)
    {
    }
    ~Watch() override
    {
        if (const auto watchers = m_watchers.lock()) {
            watchers->byId.erase(m_id);
            m_events->unsubscribeIfUnwatched();
        }
    }

private:
    NewWindowEvents* m_events;
    std::weak_ptr<Watchers> m_watchers; // gone with the events object
    int m_id;
};

NewWindowEvents::NewWindowEvents(QString socketPath) : m_socketPath(std::move(socketPath))
{
}

NewWindowEvents::~NewWindowEvents() = default;

std::unique_ptr<WindowWatch> NewWindowEvents::watch(WindowSystem::WindowShown shown)
{
    const int id = m_watchers->nextId++;
    m_watchers->byId.emplace(id, std::move(shown));
    subscribeIfNeeded();
    return std::make_unique<Watch>(*this, id);
}

void NewWindowEvents::subscribeIfNeeded()
{
    if (m_connection && m_connection->isConnected())
        return;
    m_connection = IpcConnection::listening(
        m_socketPath, EventType::Window, [this](const QJsonObject& event) { deliver(event); });
}

void NewWindowEvents::unsubscribeIfUnwatched()
{
    // Dropped from the event loop: the last watch may go while its own event is delivered.
    if (m_watchers->byId.empty() && m_connection)
        m_connection.release()->deleteLater();
}

void NewWindowEvents::deliver(const QJsonObject& event)
{
    if (event.value(QLatin1String("change")).toString() != QLatin1String("new"))
        return;
    const auto window = windowOfNode(event.value(QLatin1String("container")).toObject());
    if (!window)
        return;
    // A watcher may end itself, or others, from its call.
    std::vector<int> ids;
    for (const auto& [id, shown] : m_watchers->byId)
        ids.push_back(id);
    for (int id : ids) {
        const auto found = m_watchers->byId.find(id);
        if (found == m_watchers->byId.end())
            continue;
        const WindowSystem::WindowShown shown = found->second;
        shown(*window);
    }
}

} // namespace Platform::Sway
