#pragma once

#include <QString>

namespace Platform {

// Told the answer of a check that reached one. A check that fails (no network, a refused
// feed, a timeout) tells nothing.
class UpdaterDelegate {
public:
    virtual ~UpdaterDelegate() = default;

    virtual void updaterDidNotFindUpdate() = 0;
    // `displayVersionString` is the found release's version as the user is shown it.
    virtual void updaterDidFindValidUpdate(const QString& displayVersionString) = 0;
};

// Looks for newer versions of Vantor. Callbacks arrive on the main thread, from the event
// loop, never from inside the call that started the check.
class UpdateService {
public:
    virtual ~UpdateService() = default;

    // Starts the service; the delegate must outlive it.
    virtual void start(UpdaterDelegate& delegate) = 0;
    // A background check that shows nothing of its own.
    virtual void checkForUpdateInformation() = 0;
    // The user's check: shows its own windows, which offer the found version's download.
    virtual void checkForUpdates() = 0;
};

} // namespace Platform
