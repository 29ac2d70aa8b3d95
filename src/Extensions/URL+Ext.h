#pragma once

#include <QString>
#include <QUrl>

// The display name of the app whose desktop entry is at `url` (a file URL or a plain path):
// the entry's Name in the user's locale, else the file name without its extension
// (".../org.example.Notes.desktop" gives "org.example.Notes").
QString getAppName(const QUrl& url);
QString getAppName(const QString& path);
