#pragma once

#include "KWinDesktop.h"
#include "SwayDesktop.h"
#include "TestDesktop.h"
#include "TestEnvironment.h"

#include <QApplication>
#include <QRegularExpression>
#include <QTest>

#include <cstdio>

// Every test function fails on any Qt warning it did not announce with
// QTest::ignoreMessage. Call from init() of every test class.
inline void failOnUnexpectedWarnings()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

// A test of logic only: private home, no display (Qt's offscreen platform).
#define VANTOR_UNIT_TEST_MAIN(TestClass)                                                           \
    int main(int argc, char** argv)                                                                \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        qputenv("QT_QPA_PLATFORM", "offscreen");                                                   \
        qunsetenv("DISPLAY");                                                                      \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

// A test on a private desktop: Xvfb + openbox (+ a tray host), private home.
#define VANTOR_DESKTOP_TEST_MAIN_WITH(TestClass, desktopOptions)                                   \
    int main(int argc, char** argv)                                                                \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        TestDesktop desktop(desktopOptions);                                                       \
        if (!desktop.isReady()) {                                                                  \
            std::fprintf(stderr, "No test desktop: %s\n", qPrintable(desktop.errorString()));      \
            return 1;                                                                              \
        }                                                                                          \
        qputenv("QT_QPA_PLATFORM", "xcb");                                                         \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

#define VANTOR_DESKTOP_TEST_MAIN(TestClass)                                                        \
    VANTOR_DESKTOP_TEST_MAIN_WITH(TestClass, TestDesktop::Options{})

// A test on a private sway desktop (headless, with XWayland), private home. The test process
// itself shows no windows: it runs offscreen and starts what it tests in the desktop.
#define VANTOR_SWAY_TEST_MAIN_WITH(TestClass, desktopOptions)                                      \
    int main(int argc, char** argv)                                                                \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        qunsetenv("DISPLAY");                                                                      \
        qputenv("QT_QPA_PLATFORM", "offscreen");                                                   \
        QApplication app(argc, argv);                                                              \
        SwayDesktop desktop(desktopOptions);                                                       \
        if (!desktop.isReady()) {                                                                  \
            std::fprintf(stderr, "No test desktop: %s\n", qPrintable(desktop.errorString()));      \
            return 1;                                                                              \
        }                                                                                          \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

#define VANTOR_SWAY_TEST_MAIN(TestClass)                                                           \
    VANTOR_SWAY_TEST_MAIN_WITH(TestClass, SwayDesktop::Options{})

// A test on a private KDE Plasma desktop: a headless KWin with XWayland, a session bus and the
// portals, run as the session user `nobody`; private home. The test process itself shows no
// windows: it runs offscreen, as root, and starts what it tests in the desktop.
#define VANTOR_KWIN_TEST_MAIN_WITH(TestClass, desktopOptions)                                      \
    int main(int argc, char** argv)                                                                \
    {                                                                                              \
        TestEnvironment environment;                                                               \
        qunsetenv("DISPLAY");                                                                      \
        qputenv("QT_QPA_PLATFORM", "offscreen");                                                   \
        QApplication app(argc, argv);                                                              \
        KWinDesktop desktop(desktopOptions);                                                       \
        if (!desktop.isReady()) {                                                                  \
            std::fprintf(stderr, "No test desktop: %s\n", qPrintable(desktop.errorString()));      \
            return 1;                                                                              \
        }                                                                                          \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

#define VANTOR_KWIN_TEST_MAIN(TestClass)                                                           \
    VANTOR_KWIN_TEST_MAIN_WITH(TestClass, KWinDesktop::Options{})
