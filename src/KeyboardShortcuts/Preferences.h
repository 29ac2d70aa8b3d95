#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <cstdint>

namespace KeyboardShortcuts {

// The user's preferences that the shortcuts are kept in: one JSON object in
// $XDG_CONFIG_HOME/<folder>/preferences.json. Values keep their JSON types (a string stays a
// string, false stays a boolean). Every change is written at once and atomically; another
// process's change is picked up on the next read, found by a cheap check of the file. Only a
// regular file under 1 MB is read; anything else there, and a file that cannot be read as a
// JSON object, is moved aside and reads as empty, and one console line says why. A change
// that cannot be saved is not made; one console line says so until a save succeeds again.
class Preferences {
public:
    static Preferences& standard();

    // The folder under the configuration directory; the application's name unless set.
    static void setFolderName(const QString& folderName);
    static QString folderName();
    QString filePath();

    QVariant object(const QString& key);
    bool contains(const QString& key);
    // False when the change could not be saved; the value is then left as it was.
    bool set(const QString& key, const QVariant& value);
    bool remove(const QString& key);
    QVariantMap dictionaryRepresentation();

    // Re-reads the file if it changed on disk since it was last read or written.
    void refreshIfChanged();
    // The value as last read, without looking at the file: for many reads in a row after
    // one refreshIfChanged().
    QVariant cachedObject(const QString& key) const { return m_values.value(key).toVariant(); }

private:
    Preferences() = default;

    struct FileStamp {
        bool exists = false;
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::int64_t modifiedNs = 0;
        friend bool operator==(const FileStamp&, const FileStamp&) = default;
    };

    static FileStamp stampOf(const QString& path);
    void load();
    void setAside(const QString& path, const QString& reason);
    bool write(const QJsonObject& values);
    void reportSaveFailure(const QString& reason);

    QString m_path;
    QString m_pathFolder;
    bool m_loaded = false;
    FileStamp m_stamp;
    // Kept as read: a JSON object holds its keys sorted, so it is written back in one pass.
    QJsonObject m_values;
    QString m_reportedSaveFailure;
};

} // namespace KeyboardShortcuts
