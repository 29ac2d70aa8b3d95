#pragma once

#include <QDateTime>
#include <QString>
#include <QUrl>

namespace Platform {

// The file one release is downloaded as, with what it must be to be trusted.
struct AppcastEnclosure {
    QUrl url;
    qint64 length = 0; // bytes
    QString mimeType;
    QByteArray edSignature; // Ed25519 signature of the file, raw 64 bytes
};

// One release as the update feed describes it.
struct AppcastItem {
    enum class NotesFormat { Html, Markdown };

    QString version; // machine version, compared segment by segment: "1.10.2"
    QString displayVersionString; // what the user is shown: "1.10.2" or "1.10 beta"
    QString releaseNotes;
    NotesFormat notesFormat = NotesFormat::Html;
    QDateTime publicationDate;
    QString minimumSystemVersion; // empty: any system
    AppcastEnclosure enclosure;
};

} // namespace Platform
