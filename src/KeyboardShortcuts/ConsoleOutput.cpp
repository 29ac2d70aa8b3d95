#include "KeyboardShortcuts/ConsoleOutput.h"

#include <QMutex>
#include <QMutexLocker>

namespace KeyboardShortcuts::ConsoleOutput {
namespace {

QMutex s_mutex;
Sink s_sink;
std::FILE* s_stream = stdout;

} // namespace

void print(const QString& line)
{
    Sink sink;
    std::FILE* stream = nullptr;
    {
        QMutexLocker lock(&s_mutex);
        sink = s_sink;
        stream = s_stream;
    }
    if (sink) {
        sink(line);
        return;
    }
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

Sink setSink(Sink sink)
{
    QMutexLocker lock(&s_mutex);
    return std::exchange(s_sink, std::move(sink));
}

void printTo(std::FILE* stream)
{
    QMutexLocker lock(&s_mutex);
    s_stream = stream;
}

} // namespace KeyboardShortcuts::ConsoleOutput
