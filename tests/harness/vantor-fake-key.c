// vantor-fake-key: presses keys on a KWin desktop as a keyboard would, through KWin's fake
// input protocol. KWin offers that protocol only to programs whose desktop entry names it
// (X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input, Exec= this program's absolute path).
//
//   vantor-fake-key CODE...   presses the keys with these evdev codes in order, then releases
//                             them in reverse order; e.g. `42 56 2` is Shift+Alt+1
//
// It exits once KWin has handled every key: 0, or 2 for wrong arguments, 3 when there is no
// Wayland display, 4 when KWin does not offer fake input to it.
#include "fake-input-client-protocol.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wayland-client.h>

enum { MaxKeys = 16 };
enum { Released = 0, Pressed = 1 };

struct Globals {
    struct org_kde_kwin_fake_input* fakeInput;
};

static void announced(void* data, struct wl_registry* registry, uint32_t name,
    const char* interface, uint32_t version)
{
    struct Globals* globals = data;
    // keyboard_key came with version 4.
    if (strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 && version >= 4)
        globals->fakeInput
            = wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4);
}

static void withdrawn(void* data, struct wl_registry* registry, uint32_t name)
{
    (void)data;
    (void)registry;
    (void)name;
}

static const struct wl_registry_listener registryListener = {announced, withdrawn};

static int parseCodes(int argc, char** argv, uint32_t* codes)
{
    if (argc < 2 || argc - 1 > MaxKeys)
        return -1;
    for (int i = 1; i < argc; ++i) {
        char* end = NULL;
        errno = 0;
        const long code = strtol(argv[i], &end, 10);
        if (errno != 0 || *end != '\0' || code < 1 || code > 767)
            return -1;
        codes[i - 1] = (uint32_t)code;
    }
    return argc - 1;
}

int main(int argc, char** argv)
{
    uint32_t codes[MaxKeys];
    const int count = parseCodes(argc, argv, codes);
    if (count < 0) {
        fprintf(stderr, "usage: %s EVDEV_CODE... (at most %d)\n", argv[0], MaxKeys);
        return 2;
    }
    struct wl_display* display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "vantor-fake-key: no Wayland display\n");
        return 3;
    }
    struct Globals globals = {NULL};
    struct wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, &globals);
    wl_display_roundtrip(display);
    int status = 0;
    if (!globals.fakeInput) {
        fprintf(stderr, "vantor-fake-key: the compositor offers no fake input to this program\n");
        status = 4;
    } else {
        org_kde_kwin_fake_input_authenticate(globals.fakeInput, "vantor-fake-key", "tests");
        for (int i = 0; i < count; ++i)
            org_kde_kwin_fake_input_keyboard_key(globals.fakeInput, codes[i], Pressed);
        for (int i = count - 1; i >= 0; --i)
            org_kde_kwin_fake_input_keyboard_key(globals.fakeInput, codes[i], Released);
        // Requests are handled in order: the answer to this one means KWin has every key.
        if (wl_display_roundtrip(display) < 0) {
            fprintf(stderr, "vantor-fake-key: the connection broke\n");
            status = 4;
        }
        org_kde_kwin_fake_input_destroy(globals.fakeInput);
    }
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return status;
}
