#include "Platform/X11/WindowReader.h"

#include "Platform/X11/Connection.h"
#include "Platform/X11/FrameQuery.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/ProcessIds.h"
#include "Platform/X11/Properties.h"

#include <xcb/xcb.h>

#include <vector>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t allDesktops = 0xFFFFFFFF;
constexpr std::uint32_t iconicState = 3;

// Every question asked about one window, sent before any answer is read.
struct WindowRequests {
    WindowRequests(const Connection& c, std::uint32_t window)
        : attributes(c.get(), xcb_get_window_attributes(c.get(), window).sequence),
          frame(c, window),
          types(c, window, Atom::NetWmWindowType),
          states(c, window, Atom::NetWmState),
          desktop(c, window, Atom::NetWmDesktop, 1),
          transientFor(c, window, std::uint32_t{XCB_ATOM_WM_TRANSIENT_FOR}, 1),
          wmClass(c, window, std::uint32_t{XCB_ATOM_WM_CLASS}, 64),
          wmState(c, window, Atom::WmState, 1),
          applicationId(c, window, Atom::GtkApplicationId, 64),
          desktopFile(c, window, Atom::KdeNetWmDesktopFile, 64),
          startupId(c, window, Atom::NetStartupId, 64)
    {
    }
    PendingReply attributes;
    FrameQuery frame;
    PropertyRequest types;
    PropertyRequest states;
    PropertyRequest desktop;
    PropertyRequest transientFor;
    PropertyRequest wmClass;
    PropertyRequest wmState;
    PropertyRequest applicationId;
    PropertyRequest desktopFile;
    PropertyRequest startupId;
};

struct WindowType {
    WindowKind kind = WindowKind::Normal;
    QString name;
};

// The first type the window lists that is known wins; without one, a transient window is
// a dialog and any other a normal window.
WindowType typeOf(const Atoms& atoms, const QList<std::uint32_t>& types, bool isTransient)
{
    for (std::uint32_t type : types) {
        for (auto candidate = static_cast<std::size_t>(Atom::NetWmWindowTypeNormal);
             candidate <= static_cast<std::size_t>(Atom::NetWmWindowTypeDnd); ++candidate) {
            const auto atom = static_cast<Atom>(candidate);
            if (atoms[atom] != type)
                continue;
            const WindowKind kind = atom == Atom::NetWmWindowTypeNormal ? WindowKind::Normal
                : atom == Atom::NetWmWindowTypeDialog                   ? WindowKind::Dialog
                                                                        : WindowKind::Other;
            return {kind, QString::fromLatin1(Atoms::typeName(atom))};
        }
    }
    if (isTransient)
        return {
            WindowKind::Dialog, QString::fromLatin1(Atoms::typeName(Atom::NetWmWindowTypeDialog))};
    return {WindowKind::Normal, QString::fromLatin1(Atoms::typeName(Atom::NetWmWindowTypeNormal))};
}

bool isOnDesktop(std::optional<std::uint32_t> desktop, std::optional<std::uint32_t> current)
{
    return !desktop || !current || *desktop == allDesktops || *desktop == *current;
}

class WindowDescriber {
public:
    WindowDescriber(const Connection& connection, std::optional<std::uint32_t> currentDesktop)
        : m_atoms(connection.atoms()), m_currentDesktop(currentDesktop)
    {
    }

    std::optional<WindowInfo> describe(
        std::uint32_t window, ProcessId pid, WindowRequests& requests) const
    {
        const auto attributes = takeReply(requests.attributes, xcb_get_window_attributes_reply);
        const std::optional<Frame> frame = requests.frame.take();
        const auto types = requests.types.take();
        const auto states = values32(requests.states.take().get());
        const auto desktop = firstValue32(requests.desktop.take().get());
        const bool isTransient = firstValue32(requests.transientFor.take().get()).value_or(0) != 0;
        const QStringList wmClass = texts(requests.wmClass.take().get());
        const auto wmState = firstValue32(requests.wmState.take().get());
        const QStringList applicationId = texts(requests.applicationId.take().get());
        const QStringList desktopFile = texts(requests.desktopFile.take().get());
        const QStringList startupId = texts(requests.startupId.take().get());
        if (!attributes || !frame)
            return std::nullopt;

        WindowInfo info;
        info.id = window;
        info.pid = pid;
        const WindowType type = typeOf(m_atoms, values32(types.get()), isTransient);
        info.kind = type.kind;
        info.typeName = type.name;
        info.isNormalLayer = !states.contains(m_atoms[Atom::NetWmStateAbove])
            && !states.contains(m_atoms[Atom::NetWmStateBelow]);
        const bool isMinimized
            = states.contains(m_atoms[Atom::NetWmStateHidden]) || wmState == iconicState;
        info.isOnScreen = attributes->map_state == XCB_MAP_STATE_VIEWABLE && !isMinimized
            && isOnDesktop(desktop, m_currentDesktop);
        info.skipsTaskbar = states.contains(m_atoms[Atom::NetWmStateSkipTaskbar]);
        info.frame = *frame;
        info.wmClassInstance = wmClass.value(0);
        info.wmClass = wmClass.value(1);
        info.applicationId = applicationId.value(0);
        info.desktopFile = desktopFile.value(0);
        info.startupId = startupId.value(0);
        return info;
    }

private:
    const Atoms& m_atoms;
    std::optional<std::uint32_t> m_currentDesktop;
};

} // namespace

QList<WindowInfo> WindowReader::read(
    const QList<std::uint32_t>& windows, std::optional<std::uint32_t> currentDesktop) const
{
    ProcessIdQuery pidQuery(m_connection, windows);
    std::vector<WindowRequests> requests;
    requests.reserve(static_cast<std::size_t>(windows.size()));
    for (std::uint32_t window : windows)
        requests.emplace_back(m_connection, window);

    const QList<ProcessId> pids = pidQuery.take();
    const WindowDescriber describer(m_connection, currentDesktop);
    QList<WindowInfo> result;
    result.reserve(windows.size());
    for (qsizetype i = 0; i < windows.size(); ++i) {
        if (auto info
            = describer.describe(windows[i], pids[i], requests[static_cast<std::size_t>(i)]))
            result.append(std::move(*info));
    }
    return result;
}

} // namespace Platform::X11
