#include "Platform/Updates/EnclosureDownload.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryFile>

namespace Platform {

namespace {

// The mapping of a file, unmapped when it goes.
class MappedFile {
public:
    explicit MappedFile(QFile& file) : m_file(file), m_data(file.map(0, file.size())) { }
    ~MappedFile()
    {
        if (m_data)
            m_file.unmap(m_data);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    bool isValid() const { return m_data != nullptr; }
    QByteArrayView bytes() const { return {reinterpret_cast<const char*>(m_data), m_file.size()}; }

private:
    QFile& m_file;
    uchar* m_data;
};

} // namespace

EnclosureDownload::EnclosureDownload(QNetworkAccessManager& network, AppcastEnclosure enclosure,
    UpdateSigningKey key, QString folder, QObject* parent)
    : QObject(parent),
      m_network(network),
      m_enclosure(std::move(enclosure)),
      m_key(std::move(key)),
      m_folder(std::move(folder))
{
}

EnclosureDownload::~EnclosureDownload() = default;

QString EnclosureDownload::fileNameFor(const QUrl& url)
{
    QString name = url.fileName(QUrl::FullyDecoded);
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    while (name.startsWith(QLatin1Char('.')))
        name.remove(0, 1);
    return name.isEmpty() ? QStringLiteral("update") : name.left(200);
}

void EnclosureDownload::start()
{
    if (m_enclosure.length > kMaximumBytes) {
        end(QStringLiteral("a download of %1 bytes, more than allowed").arg(m_enclosure.length));
        return;
    }
    if (!QDir().mkpath(m_folder)) {
        end(QStringLiteral("cannot make the folder %1").arg(m_folder));
        return;
    }
    m_file
        = std::make_unique<QTemporaryFile>(m_folder + QStringLiteral("/.vantor-download-XXXXXX"));
    if (!m_file->open()) {
        end(QStringLiteral("cannot write into %1: %2").arg(m_folder, m_file->errorString()));
        return;
    }
    RequestLimits limits;
    limits.maximumBytes = m_enclosure.length;
    limits.idleTimeout = std::chrono::seconds(30);
    limits.totalTimeout = std::chrono::milliseconds(0);
    m_request = std::make_unique<GuardedRequest>(m_network, m_enclosure.url, limits, m_file.get());
    connect(
        m_request.get(), &GuardedRequest::finished, this, &EnclosureDownload::onRequestFinished);
    m_request->start();
}

void EnclosureDownload::onRequestFinished()
{
    if (!m_request->succeeded()) {
        end(m_request->errorString());
        return;
    }
    end(verifyAndKeep());
}

QString EnclosureDownload::verifyAndKeep()
{
    if (!m_file->flush())
        return QStringLiteral("cannot write the download: %1").arg(m_file->errorString());
    if (m_file->size() != m_enclosure.length)
        return QStringLiteral("%1 bytes received, %2 announced")
            .arg(m_file->size())
            .arg(m_enclosure.length);
    {
        const MappedFile mapped(*m_file);
        if (!mapped.isValid())
            return QStringLiteral("cannot read the download back: %1").arg(m_file->errorString());
        if (!m_key.verifies(mapped.bytes(), m_enclosure.edSignature))
            return QStringLiteral("the download's signature does not match Vantor's key");
    }
    const QString target = freeName();
    if (!m_file->rename(target))
        return QStringLiteral("cannot save %1: %2").arg(target, m_file->errorString());
    m_file->setAutoRemove(false);
    m_savedPath = target;
    return {};
}

QString EnclosureDownload::freeName() const
{
    const QString name = fileNameFor(m_enclosure.url);
    const QFileInfo info(name);
    const QString base = info.completeBaseName();
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    QString candidate = m_folder + QLatin1Char('/') + name;
    for (int copy = 2; QFileInfo::exists(candidate); ++copy)
        candidate = m_folder + QStringLiteral("/%1 (%2)%3").arg(base).arg(copy).arg(suffix);
    return candidate;
}

void EnclosureDownload::end(const QString& error)
{
    m_error = error;
    if (!error.isEmpty())
        m_file.reset(); // the temporary file goes with it
    QMetaObject::invokeMethod(this, &EnclosureDownload::finished, Qt::QueuedConnection);
}

} // namespace Platform
