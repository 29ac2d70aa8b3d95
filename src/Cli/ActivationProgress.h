#pragma once

#include "Util/Activation.h"
#include "Util/Console.h"

#include <QString>

#include <cstdio>

namespace Cli {

// Tells what becomes of each app of an activation: a line per app as it launches, is
// placed, fails or times out; on a terminal, one line rewritten in place, which console
// lines (written to `consoleStream`) then pass above.
class ActivationProgress {
public:
    ActivationProgress(const Activation& activation, std::FILE* stream, std::FILE* consoleStream);
    ~ActivationProgress();
    ActivationProgress(const ActivationProgress&) = delete;
    ActivationProgress& operator=(const ActivationProgress&) = delete;

private:
    void show(const QString& text);
    void printConsoleLine(const QString& line);
    QString describe(qsizetype index) const;

    const Activation& m_activation;
    std::FILE* m_stream;
    std::FILE* m_consoleStream;
    bool m_onTerminal;
    QString m_line; // shown on the terminal now
    Console::Sink m_previousSink;
    QMetaObject::Connection m_launching;
    QMetaObject::Connection m_finished;
};

} // namespace Cli
