#include "Cli/ActivationProgress.h"

#include <unistd.h>

namespace Cli {

ActivationProgress::ActivationProgress(
    const Activation& activation, std::FILE* stream, std::FILE* consoleStream)
    : m_activation(activation),
      m_stream(stream),
      m_consoleStream(consoleStream),
      m_onTerminal(::isatty(::fileno(stream)) == 1)
{
    if (m_onTerminal)
        m_previousSink = Console::setSink([this](const QString& line) { printConsoleLine(line); });
    m_launching = QObject::connect(&activation, &Activation::appLaunching, [this](qsizetype index) {
        show(QStringLiteral("Launching %1…").arg(m_activation.apps().at(index)->name()));
    });
    m_finished = QObject::connect(&activation, &Activation::appFinished,
        [this](qsizetype index) { show(describe(index)); });
}

ActivationProgress::~ActivationProgress()
{
    QObject::disconnect(m_launching);
    QObject::disconnect(m_finished);
    if (!m_onTerminal)
        return;
    Console::setSink(std::move(m_previousSink));
    if (!m_line.isEmpty())
        std::fputc('\n', m_stream);
}

QString ActivationProgress::describe(qsizetype index) const
{
    const QString name = m_activation.apps().at(index)->name();
    const AppOutcome& outcome = m_activation.outcomes().at(index);
    switch (outcome.state) {
    case AppOutcome::State::Pending:
        return QStringLiteral("Launching %1…").arg(name);
    case AppOutcome::State::Skipped:
        return QStringLiteral("Skipped %1: no app identifier").arg(name);
    case AppOutcome::State::AlreadyRunning:
        return outcome.placed ? QStringLiteral("Placed %1 (running)").arg(name)
                              : QStringLiteral("%1 is running").arg(name);
    case AppOutcome::State::Launched:
        return outcome.placed ? QStringLiteral("Placed %1").arg(name)
                              : QStringLiteral("Launched %1").arg(name);
    case AppOutcome::State::NotInstalled:
        return QStringLiteral("%1 is not installed").arg(name);
    case AppOutcome::State::Failed:
        return QStringLiteral("%1 failed: %2").arg(name, outcome.error);
    case AppOutcome::State::TimedOut:
        return QStringLiteral("%1 timed out").arg(name);
    }
    return {};
}

void ActivationProgress::show(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    if (m_onTerminal) {
        std::fprintf(m_stream, "\r\033[K%s", bytes.constData());
        m_line = text;
    } else {
        std::fprintf(m_stream, "%s\n", bytes.constData());
    }
    std::fflush(m_stream);
}

void ActivationProgress::printConsoleLine(const QString& line)
{
    std::fputs("\r\033[K", m_stream);
    std::fflush(m_stream);
    std::fprintf(m_consoleStream, "%s\n", line.toUtf8().constData());
    std::fflush(m_consoleStream);
    if (!m_line.isEmpty())
        show(m_line);
}

} // namespace Cli
