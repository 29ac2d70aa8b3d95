#include "KeyboardShortcuts/ConsoleOutput.h"

#include <QMutex>
#include <QMutexLocker>

#include <cstdio>

namespace KeyboardShortcuts::ConsoleOutput {
namespace {

QMutex s_mutex;
Sink s_sink;

} // namespace

void print(const QString& line)
{
    Sink sink;
    {
        QMutexLocker lock(&s_mutex);
        sink = s_sink;
    }
    if (sink) {
        sink(line);
        return;
    }
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

Sink setSink(Sink sink)
{
    QMutexLocker lock(&s_mutex);
    return std::exchange(s_sink, std::move(sink));
}

} // namespace KeyboardShortcuts::ConsoleOutput
