#pragma once

#include "Platform/Applications.h"
#include "Platform/Geometry.h"
#include "Platform/WindowSystem.h"

#include "TestDesktop.h"

#include <QRegularExpression>
#include <QSize>
#include <QStringList>

// What the X server and the window manager say about a window, read with the standard X
// tools (xwininfo, xprop) rather than with Vantor's own code; and ways to disturb windows
// with tools of their own (xdotool, wmctrl).
namespace WindowTruth {

// The one managed window of a process; 0 unless it has exactly one.
inline Platform::WindowId onlyWindowOf(qint64 pid)
{
    const QList<std::uint32_t> windows
        = TestDesktop::instance()->probe().clientWindowsOf(static_cast<std::int32_t>(pid));
    return windows.size() == 1 ? windows.first() : 0;
}

// A running application that is known by its process only.
inline Platform::RunningApplication applicationWithPid(qint64 pid)
{
    Platform::RunningApplication application;
    application.processIdentifier = static_cast<Platform::ProcessId>(pid);
    return application;
}

// The x11-apps' option for a window's size and place, e.g. "300x200+40+60".
inline QStringList geometry(const QString& geometry)
{
    return {QStringLiteral("-geometry"), geometry};
}

inline QString hex(Platform::WindowId window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

inline QString run(const QString& program, const QStringList& arguments)
{
    return QString::fromUtf8(TestDesktop::run(program, arguments));
}

inline int field(const QString& text, const QString& label)
{
    const QRegularExpression pattern(
        QRegularExpression::escape(label) + QStringLiteral(":\\s*(-?\\d+)"));
    return pattern.match(text).captured(1).toInt();
}

// Left, right, top, bottom of the window manager's decorations.
inline QList<int> frameExtents(Platform::WindowId window)
{
    const QString text = run(QStringLiteral("xprop"),
        {QStringLiteral("-id"), hex(window), QStringLiteral("_NET_FRAME_EXTENTS")});
    QList<int> extents;
    for (const QString& value : text.section(u'=', 1).split(u',', Qt::SkipEmptyParts))
        extents.append(value.trimmed().toInt());
    return extents.size() == 4 ? extents : QList<int>{0, 0, 0, 0};
}

// The frame as the user sees it: the client's absolute position and size from xwininfo,
// widened by _NET_FRAME_EXTENTS.
inline Frame frameOf(Platform::WindowId window)
{
    const QString info = run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)});
    const QList<int> e = frameExtents(window);
    return {static_cast<double>(field(info, QStringLiteral("Absolute upper-left X")) - e[0]),
        static_cast<double>(field(info, QStringLiteral("Absolute upper-left Y")) - e[2]),
        static_cast<double>(field(info, QStringLiteral("Width")) + e[0] + e[1]),
        static_cast<double>(field(info, QStringLiteral("Height")) + e[2] + e[3])};
}

inline QString xprop(Platform::WindowId window, const QString& name)
{
    return run(QStringLiteral("xprop"), {QStringLiteral("-id"), hex(window), name}).trimmed();
}

// The window the window manager calls active (_NET_ACTIVE_WINDOW on the root).
inline Platform::WindowId activeWindow()
{
    const QString text = run(
        QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")});
    return text.section(u'#', 1).trimmed().toULongLong(nullptr, 16);
}

inline QString mapState(Platform::WindowId window)
{
    const QString info = run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)});
    return QRegularExpression(QStringLiteral("Map State:\\s*(\\w+)")).match(info).captured(1);
}

// "program specified resize increment: 6 by 13"; 1 by 1 when the window sets none.
inline QSize resizeIncrement(Platform::WindowId window)
{
    const QRegularExpression pattern(QStringLiteral("resize increment: (\\d+) by (\\d+)"));
    const auto match = pattern.match(xprop(window, QStringLiteral("WM_NORMAL_HINTS")));
    return match.hasMatch() ? QSize(match.captured(1).toInt(), match.captured(2).toInt())
                            : QSize(1, 1);
}

// Moves and resizes the client with xdotool, away from where it was.
inline void moveAway(Platform::WindowId window, int x, int y, int width, int height)
{
    run(QStringLiteral("xdotool"),
        {QStringLiteral("windowmove"), hex(window), QString::number(x), QString::number(y),
            QStringLiteral("windowsize"), hex(window), QString::number(width),
            QString::number(height)});
}

inline void wmctrl(Platform::WindowId window, const QString& stateChange)
{
    run(QStringLiteral("wmctrl"),
        {QStringLiteral("-i"), QStringLiteral("-r"), hex(window), QStringLiteral("-b"),
            stateChange});
}

} // namespace WindowTruth
