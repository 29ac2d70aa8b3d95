#include "KeyboardShortcuts/Preferences.h"

#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/PreferencesFile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace KeyboardShortcuts {
namespace {

QString s_folderName;

QString applicationFolderName()
{
    if (!s_folderName.isEmpty())
        return s_folderName;
    const QString name = QCoreApplication::applicationName();
    return name.isEmpty() ? QStringLiteral("KeyboardShortcuts") : name;
}

QString unwritableFolder(const QString& folder, const char* reason)
{
    return QStringLiteral("cannot write in the folder %1 (%2)")
        .arg(folder, QString::fromLocal8Bit(reason));
}

} // namespace

Preferences& Preferences::standard()
{
    static Preferences preferences;
    return preferences;
}

void Preferences::setFolderName(const QString& folderName)
{
    s_folderName = folderName;
}

QString Preferences::folderName()
{
    return applicationFolderName();
}

QString Preferences::filePath()
{
    const QString folder = applicationFolderName();
    if (m_path.isEmpty() || folder != m_pathFolder) {
        m_pathFolder = folder;
        m_path = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
            + QLatin1Char('/') + folder + QStringLiteral("/preferences.json");
        m_loaded = false;
    }
    return m_path;
}

QVariant Preferences::object(const QString& key)
{
    refreshIfChanged();
    return m_values.value(key).toVariant();
}

bool Preferences::contains(const QString& key)
{
    refreshIfChanged();
    return m_values.contains(key);
}

bool Preferences::set(const QString& key, const QVariant& value)
{
    refreshIfChanged();
    QJsonObject values = m_values;
    values.insert(key, QJsonValue::fromVariant(value));
    return write(values);
}

bool Preferences::remove(const QString& key)
{
    refreshIfChanged();
    if (!m_values.contains(key))
        return true;
    QJsonObject values = m_values;
    values.remove(key);
    return write(values);
}

QVariantMap Preferences::dictionaryRepresentation()
{
    refreshIfChanged();
    return m_values.toVariantMap();
}

void Preferences::refreshIfChanged()
{
    const QString path = filePath();
    if (m_loaded && stampOf(path) == m_stamp)
        return;
    load();
}

Preferences::FileStamp Preferences::stampOf(const QString& path)
{
    struct stat info { };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return {true, static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
        static_cast<std::int64_t>(info.st_size),
        static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec};
}

void Preferences::load()
{
    const QString path = filePath();
    m_loaded = true;
    m_values = {};
    m_stamp = stampOf(path);
    if (!m_stamp.exists)
        return;
    const PreferencesFile::Contents contents = PreferencesFile::read(path);
    if (contents.outcome == PreferencesFile::Outcome::refused) {
        setAside(path, contents.reason);
        return;
    }
    if (contents.outcome == PreferencesFile::Outcome::missing)
        return;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(contents.bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        setAside(path, QStringLiteral("not JSON: ") + error.errorString());
        return;
    }
    if (!document.isObject()) {
        setAside(path, QStringLiteral("not a JSON object"));
        return;
    }
    m_values = document.object();
}

void Preferences::setAside(const QString& path, const QString& reason)
{
    const QString aside = path + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmsszzz"));
    const QString what = QStringLiteral("Unreadable preferences file (") + reason + u')';
    // Renaming never opens what is there, whatever it is.
    if (QFile::rename(path, aside))
        ConsoleOutput::print(what + QStringLiteral(" moved aside: ") + aside);
    else
        ConsoleOutput::print(what + QStringLiteral(" ignored: ") + path);
    m_stamp = stampOf(path);
}

bool Preferences::write(const QJsonObject& values)
{
    const QString path = filePath();
    const QString folder = QFileInfo(path).absolutePath();
    std::error_code folderError;
    std::filesystem::create_directories(QFile::encodeName(folder).toStdString(), folderError);
    if (folderError) {
        reportSaveFailure(unwritableFolder(folder, folderError.message().c_str()));
        return false;
    }
    QSaveFile file(path);
    const QByteArray bytes = QJsonDocument(values).toJson();
    if (!file.open(QIODevice::WriteOnly)) {
        if (::access(QFile::encodeName(folder).constData(), W_OK) != 0)
            reportSaveFailure(unwritableFolder(folder, std::strerror(errno)));
        else
            reportSaveFailure(file.errorString());
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        reportSaveFailure(file.errorString());
        return false;
    }
    m_reportedSaveFailure.clear();
    m_values = values;
    m_stamp = stampOf(path);
    return true;
}

void Preferences::reportSaveFailure(const QString& reason)
{
    // Every change tried while the folder stays unwritable fails the same way: one line.
    if (reason == m_reportedSaveFailure)
        return;
    m_reportedSaveFailure = reason;
    ConsoleOutput::print(QStringLiteral("Failed to save preferences: ") + reason);
}

} // namespace KeyboardShortcuts
