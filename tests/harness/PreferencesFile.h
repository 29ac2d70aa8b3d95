#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

// Vantor's preferences file in the test's private home, read and written as the user would.
namespace TestPreferences {

inline QString path()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Vantor/preferences.json");
}

// Empty when the file is missing or is not a JSON object.
inline QJsonObject read()
{
    QFile file(path());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

// Replaces the file (a new inode, as an editor that saves anew does); false when it cannot.
inline bool write(const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path()).path());
    QFile::remove(path());
    QFile file(path());
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline bool write(const QJsonObject& preferences)
{
    return write(QJsonDocument(preferences).toJson());
}

} // namespace TestPreferences
