#pragma once

#include <QByteArray>
#include <QString>

namespace KeyboardShortcuts {

// Reads the preferences file without trusting what lies at its path. Anyone can put a FIFO,
// a device or a huge file there: only a regular file below `maximumSize` bytes is opened
// and read, so a read never blocks and never takes more than that much memory and time.
class PreferencesFile {
public:
    static constexpr qint64 maximumSize = 1024 * 1024;

    enum class Outcome {
        missing, // nothing there, or nothing this process may read
        read,
        refused, // something that must not be read; `reason` says what
    };

    struct Contents {
        Outcome outcome = Outcome::missing;
        QByteArray bytes;
        QString reason;
    };

    static Contents read(const QString& path);
};

} // namespace KeyboardShortcuts
