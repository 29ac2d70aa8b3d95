#pragma once

#include <QJsonValue>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <memory>
#include <optional>

namespace Platform::KWin {

class ReplyMailbox;

// Runs JavaScript inside KWin, the one way a client may list and move other clients' windows
// there. A script is written to a private file, loaded and started over D-Bus, and talks back
// by calling this process on the session bus: with the answer to a request, or with events
// for as long as it stays loaded. Every script this host loaded is unloaded when it goes.
class ScriptHost final : public QObject {
    Q_OBJECT

public:
    ScriptHost();
    ~ScriptHost() override;

    // Whether KWin's scripting service is on the session bus.
    bool isAvailable() const;

    // Runs a script whose body ends with `answer(TOKEN, value)` and returns the value, or
    // nothing when KWin refused the script or did not answer in time. The body sees the
    // helpers of the script prelude (windowList(), describe(w)...); TOKEN is replaced.
    std::optional<QJsonValue> request(
        const QString& body, std::chrono::milliseconds timeout = std::chrono::seconds(2));

    // Loads a script that stays: its `report(kind, value)` calls arrive as `reported`.
    // Returns its name for `unload`, or an empty name when KWin refused it.
    QString load(const QString& body);
    void unload(const QString& name);

Q_SIGNALS:
    void reported(const QString& kind, const QJsonValue& value);

private:
    QString start(const QString& source);
    bool runLoadedScripts();

    QTemporaryDir m_directory;
    std::unique_ptr<ReplyMailbox> m_mailbox;
    QStringList m_loaded;
    int m_nextScript = 0;
};

} // namespace Platform::KWin
