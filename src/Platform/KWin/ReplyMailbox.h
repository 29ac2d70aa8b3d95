#pragma once

#include <QHash>
#include <QObject>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace Platform::KWin {

// The object KWin's scripts call back, on a session-bus connection of its own that a thread
// of its own serves: an answer arrives while the interface thread waits for it without
// running its event loop. Reports go on to the thread that made the mailbox, as signals.
class ReplyMailbox final : public QObject {
    Q_OBJECT

public:
    static constexpr const char* path = "/org/vantor/KWinScripts";
    static constexpr const char* interfaceName = "org.vantor.KWinScripts";

    ReplyMailbox();
    ~ReplyMailbox() override;

    // The bus name scripts call; empty when the session bus could not be reached.
    QString busName() const { return m_busName; }

    // Waits for the answer to one request; nothing when the deadline passes first.
    std::optional<QString> take(const QString& token, std::chrono::milliseconds timeout);

    // From the mailbox's thread: a script's call of Reply(token, json) or Report(kind, json).
    void deliver(const QString& method, const QString& first, const QString& second);

Q_SIGNALS:
    void reported(const QString& kind, const QString& json);

private:
    struct Bus;

    void serve(std::promise<QString>& ready);

    std::unique_ptr<Bus> m_bus;
    std::thread m_thread;
    QString m_busName;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    QHash<QString, QString> m_replies;
};

} // namespace Platform::KWin
