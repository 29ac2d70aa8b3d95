#include "Platform/Updates/Appcast.h"

#include "Platform/Updates/Signature.h"
#include "Platform/Updates/VersionComparison.h"

#include <QXmlStreamReader>

namespace Platform::Appcast {

namespace {

// Reads one <item> element and what it holds; stops at the first thing wrong.
class ItemReader {
public:
    explicit ItemReader(QXmlStreamReader& xml) : m_xml(xml) { }

    std::optional<AppcastItem> read(QString& error)
    {
        while (m_xml.readNextStartElement()) {
            if (!readChild(error))
                return std::nullopt;
        }
        if (m_xml.hasError())
            return std::nullopt;
        return complete(error) ? std::optional(m_item) : std::nullopt;
    }

private:
    bool isOurs() const { return m_xml.namespaceUri() == QLatin1String(kNamespace); }
    bool isPlain() const { return m_xml.namespaceUri().isEmpty(); }

    bool readChild(QString& error)
    {
        const QStringView name = m_xml.name();
        if (isOurs() && name == u"version") {
            m_item.version = m_xml.readElementText().trimmed();
        } else if (isOurs() && name == u"shortVersionString") {
            m_item.displayVersionString = m_xml.readElementText().trimmed();
        } else if (isOurs() && name == u"minimumSystemVersion") {
            m_item.minimumSystemVersion = m_xml.readElementText().trimmed();
        } else if (isPlain() && name == u"pubDate") {
            const QString text = m_xml.readElementText().trimmed();
            m_item.publicationDate = QDateTime::fromString(text, Qt::RFC2822Date);
        } else if (isPlain() && name == u"description") {
            return readNotes(error);
        } else if (isPlain() && name == u"enclosure") {
            return readEnclosure(error);
        } else {
            m_xml.skipCurrentElement();
        }
        return true;
    }

    bool readNotes(QString& error)
    {
        const QXmlStreamAttributes attributes = m_xml.attributes();
        const QStringView format
            = attributes.value(QLatin1String(kNamespace), QLatin1String("format"));
        if (format == u"markdown") {
            m_item.notesFormat = AppcastItem::NotesFormat::Markdown;
        } else if (!format.isEmpty() && format != u"html") {
            error = QStringLiteral("unknown release notes format \"%1\"").arg(format);
            return false;
        }
        m_item.releaseNotes = m_xml.readElementText();
        return true;
    }

    bool readEnclosure(QString& error)
    {
        if (m_hasEnclosure) {
            error = QStringLiteral("an item with two enclosures");
            return false;
        }
        m_hasEnclosure = true;
        const QXmlStreamAttributes attributes = m_xml.attributes();
        AppcastEnclosure& enclosure = m_item.enclosure;
        enclosure.url
            = QUrl(attributes.value(QLatin1String("url")).trimmed().toString(), QUrl::StrictMode);
        bool isNumber = false;
        enclosure.length = attributes.value(QLatin1String("length")).toLongLong(&isNumber);
        if (!isNumber || enclosure.length <= 0) {
            error = QStringLiteral("an enclosure without a valid length");
            return false;
        }
        enclosure.mimeType = attributes.value(QLatin1String("type")).trimmed().toString();
        const auto signature = signatureFromBase64(
            attributes.value(QLatin1String(kNamespace), QLatin1String("edSignature")).toLatin1());
        if (!signature) {
            error = QStringLiteral("an enclosure without a valid Ed25519 signature");
            return false;
        }
        enclosure.edSignature = *signature;
        m_xml.skipCurrentElement();
        return true;
    }

    bool complete(QString& error)
    {
        if (!isMachineVersion(m_item.version))
            error = QStringLiteral("an item without a valid version (\"%1\")")
                        .arg(m_item.version.left(64));
        else if (!m_item.minimumSystemVersion.isEmpty()
            && !isMachineVersion(m_item.minimumSystemVersion))
            error = QStringLiteral("an item with an invalid minimum system version");
        else if (!m_item.publicationDate.isValid())
            error = QStringLiteral("an item without a valid publication date");
        else if (!m_hasEnclosure)
            error = QStringLiteral("an item without an enclosure");
        else if (!m_item.enclosure.url.isValid() || m_item.enclosure.url.isRelative())
            error = QStringLiteral("an enclosure without a valid URL");
        else if (m_item.enclosure.mimeType.isEmpty())
            error = QStringLiteral("an enclosure without a type");
        if (!error.isEmpty())
            return false;
        if (m_item.displayVersionString.isEmpty())
            m_item.displayVersionString = m_item.version;
        return true;
    }

    QXmlStreamReader& m_xml;
    AppcastItem m_item;
    bool m_hasEnclosure = false;
};

// The reader walks <rss><channel><item>…; anything else under channel is skipped.
class FeedReader {
public:
    explicit FeedReader(const QByteArray& feed) : m_xml(feed) { }

    ParseResult read()
    {
        ParseResult result;
        if (!readRoot(result))
            return failed(result);
        return result;
    }

private:
    ParseResult failed(ParseResult& result)
    {
        if (result.error.isEmpty())
            result.error
                = m_xml.hasError() ? m_xml.errorString() : QStringLiteral("not an RSS feed");
        result.items.clear();
        return result;
    }

    // Refuses a DTD before any element: entities are not something a feed needs.
    bool readNextStartElement(ParseResult& result)
    {
        while (!m_xml.atEnd()) {
            const auto token = m_xml.readNext();
            if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference) {
                result.error = QStringLiteral("a feed with a document type or entities");
                return false;
            }
            if (token == QXmlStreamReader::StartElement)
                return true;
        }
        return false;
    }

    bool readRoot(ParseResult& result)
    {
        if (!readNextStartElement(result))
            return false;
        if (m_xml.name() != u"rss" || !m_xml.namespaceUri().isEmpty()
            || m_xml.attributes().value(QLatin1String("version")) != u"2.0")
            return false;
        if (!m_xml.readNextStartElement() || m_xml.name() != u"channel")
            return false;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() != u"item" || !m_xml.namespaceUri().isEmpty()) {
                m_xml.skipCurrentElement();
                continue;
            }
            if (result.items.size() >= kMaximumItems) {
                result.error = QStringLiteral("a feed of more than %1 items").arg(kMaximumItems);
                return false;
            }
            auto item = ItemReader(m_xml).read(result.error);
            if (!item)
                return false;
            result.items.append(std::move(*item));
        }
        // The rest must still be well-formed: one root, nothing after it.
        while (!m_xml.atEnd() && !m_xml.hasError())
            m_xml.readNext();
        return !m_xml.hasError();
    }

    QXmlStreamReader m_xml;
};

} // namespace

ParseResult parse(const QByteArray& feed)
{
    if (feed.size() > kMaximumFeedBytes)
        return {{}, QStringLiteral("a feed of %1 bytes, more than allowed").arg(feed.size())};
    return FeedReader(feed).read();
}

std::optional<AppcastItem> bestUpdate(
    const QList<AppcastItem>& items, const QString& runningVersion, const QString& systemVersion)
{
    const AppcastItem* best = nullptr;
    for (const AppcastItem& item : items) {
        const auto newer = compareVersions(item.version, runningVersion);
        if (!newer || *newer != std::strong_ordering::greater)
            continue;
        if (!item.minimumSystemVersion.isEmpty()) {
            const auto system = compareVersions(systemVersion, item.minimumSystemVersion);
            if (!system || *system == std::strong_ordering::less)
                continue;
        }
        if (!best || compareVersions(item.version, best->version) == std::strong_ordering::greater)
            best = &item;
    }
    return best ? std::optional(*best) : std::nullopt;
}

} // namespace Platform::Appcast
