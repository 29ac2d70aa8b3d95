#pragma once

#include "Platform/Applications.h"
#include "Platform/Gio/DesktopEntryIndex.h"
#include "Platform/Gio/LaunchWatch.h"

#include <QObject>
#include <QThreadPool>

namespace Platform::Gio {

// Applications of a freedesktop session: an app is a desktop entry, a running app is a
// process that owns managed windows, matched to the entry it was started from.
class GioApplications final : public Applications {
public:
    explicit GioApplications(WindowSystem& windowSystem);

    QList<RunningApplication> runningApplications() override;
    std::optional<QString> applicationPath(const QString& bundleIdentifier) override;
    void launch(const QString& path, std::chrono::milliseconds timeout,
        LaunchCompletion completion) override;
    void open(const QUrl& location) override;

private:
    WindowSystem& m_windowSystem;
    DesktopEntryIndex m_index;
    LaunchWatch m_launches;
    QObject m_context;
    // Starting a process (fork and exec) takes milliseconds that the event loop does not
    // wait for. Last, so that it is gone, with its work done, before anything it reports to.
    QThreadPool m_starter;
};

} // namespace Platform::Gio
