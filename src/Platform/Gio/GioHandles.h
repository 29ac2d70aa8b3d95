#pragma once

#include <QString>

#include <memory>

struct _GError;
struct _GKeyFile;
struct _GList;

// Owners for GLib/GIO objects and strings. The deleters live in GioHandles.cpp, so that this
// header needs no GLib include; the pointee types come from the .cpp files that use them.
namespace Platform::Gio {

struct GObjectDeleter {
    void operator()(void* object) const;
};
struct GFreeDeleter {
    void operator()(void* memory) const;
};
struct GStrvDeleter {
    void operator()(char** strings) const;
};
struct GErrorDeleter {
    void operator()(::_GError* error) const;
};
struct GKeyFileDeleter {
    void operator()(::_GKeyFile* keyFile) const;
};
// A list that owns a reference to each of its objects.
struct GObjectListDeleter {
    void operator()(::_GList* list) const;
};

template <typename T> using GObjectPtr = std::unique_ptr<T, GObjectDeleter>;
using GCharPtr = std::unique_ptr<char, GFreeDeleter>;
using GStrvPtr = std::unique_ptr<char*, GStrvDeleter>;
using GErrorPtr = std::unique_ptr<::_GError, GErrorDeleter>;
using GKeyFilePtr = std::unique_ptr<::_GKeyFile, GKeyFileDeleter>;
using GObjectListPtr = std::unique_ptr<::_GList, GObjectListDeleter>;

// UTF-8 from GLib to a QString; a null pointer gives a null QString.
inline QString fromUtf8(const char* text)
{
    return text ? QString::fromUtf8(text) : QString();
}

} // namespace Platform::Gio
