#include "Platform/Gio/GioHandles.h"

#include <gio/gio.h>

namespace Platform::Gio {

void GObjectDeleter::operator()(void* object) const
{
    if (object)
        g_object_unref(object);
}

void GFreeDeleter::operator()(void* memory) const
{
    g_free(memory);
}

void GStrvDeleter::operator()(char** strings) const
{
    g_strfreev(strings);
}

void GErrorDeleter::operator()(GError* error) const
{
    if (error)
        g_error_free(error);
}

void GObjectListDeleter::operator()(GList* list) const
{
    g_list_free_full(list, g_object_unref);
}

void GKeyFileDeleter::operator()(GKeyFile* keyFile) const
{
    if (keyFile)
        g_key_file_unref(keyFile);
}

} // namespace Platform::Gio
