#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <sys/types.h>

// The unprivileged user that runs a Wayland desktop in the tests, with every process that
// must be its client: compositors refuse root, or admit only their own user's clients.
namespace SessionUser {

inline const char* const name = "nobody";
inline const char* const group = "nogroup";

uid_t uid();
gid_t gid();

// The setpriv arguments that run `program` as the session user and end it with the test
// process (the parent-death signal is set after the change of user, which would clear it).
QStringList command(const QString& program, const QStringList& arguments);

// Makes a path the session user's (mode kept); false when it cannot.
bool own(const QString& path);
// A new directory owned by the session user, mode 0700; empty when it cannot be made.
QString makePrivateDirectory(const QString& templatePath);

} // namespace SessionUser

// Processes found in /proc, for ending what a desktop left behind.
namespace ProcessTree {

// Waits for a process that need not be a child of ours, and reaps it if it is one.
bool waitForExit(pid_t pid, std::chrono::milliseconds timeout);
// Every process below this one, children before their own children.
QList<pid_t> descendantsOf(pid_t pid);
// SIGTERM, then SIGKILL when it has not ended within a few seconds; waits for the end.
void end(pid_t pid);
// The processes of this user whose environment sets `variable` to `value`: the session's
// processes however they were started (D-Bus activation, a compositor, a test).
QList<pid_t> withEnvironment(uid_t user, const QByteArray& variable, const QByteArray& value);
// The program a process runs (its first argument), or empty.
QByteArray programOf(pid_t pid);

} // namespace ProcessTree

namespace ProcessTree {

// Reaps the ended children of the test that ran as this user (processes a desktop started
// lose their parent and come to the test, which is a subreaper), but not those in `except`
// (the test's QProcess children, which read their own end).
void reapEndedChildren(uid_t user, const QList<qint64>& except);

} // namespace ProcessTree
