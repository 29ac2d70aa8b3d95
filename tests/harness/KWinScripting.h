#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QJsonArray>
#include <QJsonValue>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

class KWinScripting;

// A script loaded into KWin until this goes. Its code calls report(value) to send a value,
// any JSON, back to the test (for a shortcut's function, every time it runs).
class KWinScript {
public:
    KWinScript(KWinScripting& scripting, QString pluginName, QString token);
    ~KWinScript();
    KWinScript(const KWinScript&) = delete;
    KWinScript& operator=(const KWinScript&) = delete;

    // The next value the script reports, waited for with the event loop running.
    std::optional<QJsonValue> nextReport(std::chrono::milliseconds timeout);
    // Reports that came and were not taken yet.
    int pendingReports() const;

private:
    friend class KWinScripting;
    KWinScripting& m_scripting;
    QString m_pluginName;
    QString m_token;
};

// Runs JavaScript in KWin: files the session user can read, loaded through KWin's Scripting
// D-Bus interface; the scripts report back to an object this exports on the test's own
// connection to the session bus.
class KWinScripting : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.vantor.KWinHarness")

public:
    // `directory`: where the script files go; the session user must be able to read them.
    KWinScripting(const QDBusConnection& bus, const QString& directory);
    ~KWinScripting() override;

    // Loads and runs a script; nullptr (with a warning) when KWin does not take it.
    std::unique_ptr<KWinScript> load(const QString& code);
    // Runs a script to its first report and unloads it: that value, or nothing after a
    // warning (a script error, or no report in time).
    std::optional<QJsonValue> evaluate(
        const QString& code, std::chrono::milliseconds timeout = std::chrono::seconds(5));

public Q_SLOTS:
    Q_SCRIPTABLE void report(const QString& token, const QString& json);
    Q_SCRIPTABLE void fail(const QString& token, const QString& error);

Q_SIGNALS:
    void arrived();

private:
    friend class KWinScript;
    std::optional<QJsonValue> takeReport(const QString& token, std::chrono::milliseconds timeout);
    void unload(const QString& pluginName, const QString& token);
    bool runLoadedScripts() const;
    QString wrap(const QString& code, const QString& token) const;

    QDBusConnection m_bus;
    QString m_directory;
    int m_scripts = 0;
    QHash<QString, QList<QJsonValue>> m_reports;
    QHash<QString, QString> m_errors;
    QSet<QString> m_failed;
};
