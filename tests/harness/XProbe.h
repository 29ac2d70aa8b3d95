#pragma once

#include <QByteArray>
#include <QList>

#include <cstdint>
#include <memory>

// A test's own, independent look at the X server: whether the window manager runs and
// which client windows belong to which process. Product code never uses it.
class XProbe {
public:
    explicit XProbe(const QByteArray& display);
    ~XProbe();
    XProbe(const XProbe&) = delete;
    XProbe& operator=(const XProbe&) = delete;

    bool isConnected() const;
    bool windowManagerIsReady() const;
    bool selectionHasOwner(const char* selection) const;
    // _NET_CLIENT_LIST, in the window manager's order.
    QList<std::uint32_t> clientWindows() const;
    // The PID of the client that created the window, from the X server (XRes).
    std::int32_t pidOf(std::uint32_t window) const;
    QList<std::uint32_t> clientWindowsOf(std::int32_t pid) const;
    // Mapped with all its ancestors: the window manager has put it on screen.
    bool isViewable(std::uint32_t window) const;
    // A plain top-level window of the probe's own, mapped: the window manager shows that it
    // manages new windows by listing it.
    std::uint32_t mapProbeWindow() const;
    void destroyWindow(std::uint32_t window) const;
    // Whether no client holds a grab of the key with exactly these modifiers on the root
    // window: the probe takes the grab and lets it go again when it can.
    bool isKeyFree(std::uint8_t keycode, std::uint16_t modifiers) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
