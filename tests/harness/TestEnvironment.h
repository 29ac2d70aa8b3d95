#pragma once

#include <QString>
#include <QTemporaryDir>

// A private, throw-away home for one test program: HOME and the XDG directories point
// into a temporary folder, so no test reads or writes the user's files.
class TestEnvironment {
public:
    TestEnvironment();
    ~TestEnvironment();
    TestEnvironment(const TestEnvironment&) = delete;
    TestEnvironment& operator=(const TestEnvironment&) = delete;

    QString home() const { return m_root.path() + QStringLiteral("/home"); }
    QString configHome() const { return m_root.path() + QStringLiteral("/config"); }
    QString dataHome() const { return m_root.path() + QStringLiteral("/data"); }
    QString cacheHome() const { return m_root.path() + QStringLiteral("/cache"); }
    QString runtimeDir() const { return m_root.path() + QStringLiteral("/runtime"); }
    QString applicationsDir() const { return dataHome() + QStringLiteral("/applications"); }

    // Writes a desktop entry into the private applications folder and returns its path.
    QString writeDesktopEntry(const QString& id, const QString& contents) const;

    // Makes every process this test starts, and their children, children of the test
    // when their parent dies, so nothing outlives the test unnoticed.
    static void becomeSubreaper();
    // Ends every remaining child process of this test program.
    static void killRemainingChildren();

private:
    QTemporaryDir m_root;
};
