#pragma once

#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>

#include <optional>

// Vantor's main window as a screen reader sees it: a private session bus with its
// accessibility bus, and vantor_window.py (/usr/bin/python3 with pyatspi) reading and
// pressing the window's nodes. Start Vantor with environment() so that it joins the bus.
class ScreenReader {
public:
    struct Node {
        QString role;
        QString name;
        bool showing = false;
        bool selected = false;
    };

    ScreenReader() = default;
    ~ScreenReader();
    ScreenReader(const ScreenReader&) = delete;
    ScreenReader& operator=(const ScreenReader&) = delete;

    // Starts the buses; false when they cannot run.
    bool start();
    const QProcessEnvironment& environment() const { return m_environment; }

    // The named nodes of the window, in tree order; waits for the window to register.
    QList<Node> tree() const;
    std::optional<Node> node(const QString& role, const QString& name) const;
    bool isShowing(const QString& role, const QString& name) const;
    // Presses the first node of that name and role (inside the node named `within`, e.g. a
    // sheet, when given); false when there is none or it cannot be pressed.
    bool press(const QString& name, const QString& role, const QString& within = {}) const;
    // Where the Nth (from 0) showing node of that role is on the screen; null when none.
    QRect extents(const QString& role, int index) const;
    // Gives the Nth (from 0) showing node of that role the keyboard focus, as a screen
    // reader's user moving to it does; false when there is none or it cannot take it.
    bool focus(const QString& role, int index) const;
    // Whether the Nth (from 0) showing node of that role has the keyboard focus.
    bool isFocused(const QString& role, int index) const;
    // Whether the window is registered now, without waiting for it.
    bool windowIsShown() const;

private:
    struct Result {
        bool ok = false;
        QByteArray output;
        QByteArray errors;
    };
    Result runScript(const QStringList& arguments) const;

    QProcess m_bus;
    QProcess m_accessibilityBus;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};
