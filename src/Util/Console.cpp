#include "Util/Console.h"

#include <QMutex>
#include <QMutexLocker>

namespace Console {
namespace {

QMutex s_mutex;
Sink s_sink;
std::FILE* s_stream = nullptr;

} // namespace

void print(const QString& line)
{
    QMutexLocker lock(&s_mutex);
    if (s_sink) {
        s_sink(line);
        return;
    }
    std::FILE* stream = s_stream ? s_stream : stdout;
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

} // namespace Console
