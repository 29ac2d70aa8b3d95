#include "KeyboardShortcuts/Preferences.h"

#include "KeyboardShortcuts/ConsoleOutput.h"
#include "KeyboardShortcuts/Logging.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

#include <sys/stat.h>

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
    return m_values.value(key);
}

bool Preferences::contains(const QString& key)
{
    refreshIfChanged();
    return m_values.contains(key);
}

void Preferences::set(const QString& key, const QVariant& value)
{
    refreshIfChanged();
    QHash<QString, QVariant> values = m_values;
    values.insert(key, value);
    write(values);
}

void Preferences::remove(const QString& key)
{
    refreshIfChanged();
    if (!m_values.contains(key))
        return;
    QHash<QString, QVariant> values = m_values;
    values.remove(key);
    write(values);
}

QVariantMap Preferences::dictionaryRepresentation()
{
    refreshIfChanged();
    QVariantMap result;
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it)
        result.insert(it.key(), it.value());
    return result;
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
    m_values.clear();
    QFile file(path);
    m_stamp = stampOf(path);
    if (!m_stamp.exists || !file.open(QIODevice::ReadOnly))
        return;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    file.close();
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        setAside(path);
        return;
    }
    m_values = document.object().toVariantHash();
}

void Preferences::setAside(const QString& path)
{
    const QString aside = path + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmsszzz"));
    if (QFile::rename(path, aside))
        ConsoleOutput::print(QStringLiteral("Unreadable preferences file moved aside: ") + aside);
    else
        ConsoleOutput::print(QStringLiteral("Unreadable preferences file ignored: ") + path);
    m_stamp = stampOf(path);
}

void Preferences::write(const QHash<QString, QVariant>& values)
{
    const QString path = filePath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    const QByteArray bytes = QJsonDocument(QJsonObject::fromVariantHash(values)).toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        ConsoleOutput::print(QStringLiteral("Failed to save preferences: ") + file.errorString());
        return;
    }
    m_values = values;
    m_stamp = stampOf(path);
}

} // namespace KeyboardShortcuts
