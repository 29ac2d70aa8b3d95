#pragma once

#include "Util/Console.h"

#include <QStringList>

// Collects the console lines printed while it lives.
class ConsoleCapture {
public:
    ConsoleCapture()
        : m_previous(Console::setSink([this](const QString& line) { m_lines.append(line); }))
    {
    }
    ~ConsoleCapture() { Console::setSink(m_previous); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    QStringList lines() const { return m_lines; }
    void clear() { m_lines.clear(); }

private:
    QStringList m_lines;
    Console::Sink m_previous;
};
