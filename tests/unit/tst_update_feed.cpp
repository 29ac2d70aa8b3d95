// The update feed on its own: machine versions, reading the feed, choosing the update, and
// the Ed25519 signatures of the feed and of the files.
#include "Platform/Updates/Appcast.h"
#include "Platform/Updates/Signature.h"
#include "Platform/Updates/VersionComparison.h"

#include "TestMain.h"
#include "UpdateFeedServer.h"

using namespace Platform;

namespace {

const QString kSystem = QStringLiteral("6.1.0");

std::optional<std::strong_ordering> compare(const char* left, const char* right)
{
    return compareVersions(QString::fromLatin1(left), QString::fromLatin1(right));
}

TestFeed::Release release(
    const QString& version, const QString& display = {}, const QString& minimumSystem = {})
{
    TestFeed::Release release;
    release.version = version;
    release.displayVersion = display;
    release.minimumSystemVersion = minimumSystem;
    return release;
}

QByteArray withItem(const QByteArray& item)
{
    return TestFeed::rss(item);
}

UpdateSigningKey testKey()
{
    return *UpdateSigningKey::fromBase64(TestSigning::publicKeyBase64());
}

QByteArray rawSignature(
    const QByteArray& message, const TestSigning::KeyPair& key = TestSigning::testKeyPair())
{
    return *signatureFromBase64(TestSigning::sign(message, key));
}

} // namespace

class UpdateFeedTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void versionsCompareSegmentBySegmentAsNumbers()
    {
        QCOMPARE(compare("1.10", "1.9"), std::strong_ordering::greater);
        QCOMPARE(compare("1.9", "1.10"), std::strong_ordering::less);
        QCOMPARE(compare("1.2", "1.2.0"), std::strong_ordering::equal);
        QCOMPARE(compare("1.2.0.0", "1.2"), std::strong_ordering::equal);
        QCOMPARE(compare("1.2.1", "1.2"), std::strong_ordering::greater);
        QCOMPARE(compare("2", "1.99.99"), std::strong_ordering::greater);
        QCOMPARE(compare("01.002", "1.2"), std::strong_ordering::equal);
        // Longer than any integer type, still compared as numbers.
        QCOMPARE(compare("1.123456789012345678901234567890", "1.99999999999999999999999999999"),
            std::strong_ordering::greater);
    }

    void garbageIsNoVersion()
    {
        for (const char* garbage :
            {"", "1.2-beta", "1..2", ".1", "1.", " 1.2", "v1.2", "1,2", "١.٢", "Unknown"}) {
            QVERIFY2(!compare(garbage, "1.0"), garbage);
            QVERIFY2(!compare("1.0", garbage), garbage);
        }
        QVERIFY(!isMachineVersion(QString(65, QLatin1Char('1'))));
    }

    void theSystemVersionIsTheKernelsLeadingNumbers()
    {
        QCOMPARE(leadingMachineVersion(QStringLiteral("6.1.0-13-amd64")), QStringLiteral("6.1.0"));
        QCOMPARE(leadingMachineVersion(QStringLiteral("5.10")), QStringLiteral("5.10"));
        QCOMPARE(leadingMachineVersion(QStringLiteral("unknown")), QString());
    }

    void aFeedIsReadWithEveryField()
    {
        TestFeed::Release first = release(
            QStringLiteral("1.10.0"), QStringLiteral("1.10 “Maple”"), QStringLiteral("5.10"));
        first.fileUrl = QUrl(QStringLiteral("https://vantor.app/downloads/Vantor-1.10.0.AppImage"));
        const Appcast::ParseResult result
            = Appcast::parse(TestFeed::feed({first, release(QStringLiteral("1.9"))}));
        QVERIFY2(result.error.isEmpty(), qPrintable(result.error));
        QCOMPARE(result.items.size(), 2);
        const AppcastItem& item = result.items.at(0);
        QCOMPARE(item.version, QStringLiteral("1.10.0"));
        QCOMPARE(item.displayVersionString, QStringLiteral("1.10 “Maple”"));
        QCOMPARE(item.minimumSystemVersion, QStringLiteral("5.10"));
        QCOMPARE(item.releaseNotes, QStringLiteral("<p>Better than ever.</p>"));
        QCOMPARE(item.notesFormat, AppcastItem::NotesFormat::Html);
        QCOMPARE(item.publicationDate, QDateTime(QDate(2026, 11, 24), QTime(12, 0), Qt::UTC));
        QCOMPARE(item.enclosure.url, first.fileUrl);
        QCOMPARE(item.enclosure.length, first.file.size());
        QCOMPARE(item.enclosure.mimeType, QStringLiteral("application/octet-stream"));
        QVERIFY(testKey().verifies(first.file, item.enclosure.edSignature));
        // Without a display version the machine version is shown.
        QCOMPARE(result.items.at(1).displayVersionString, QStringLiteral("1.9"));
    }

    void markdownNotesAreMarkedSo()
    {
        QByteArray item = TestFeed::item(release(QStringLiteral("2.0")));
        item.replace("<description>", "<description vantor:format=\"markdown\">");
        const Appcast::ParseResult result = Appcast::parse(withItem(item));
        QVERIFY2(result.error.isEmpty(), qPrintable(result.error));
        QCOMPARE(result.items.at(0).notesFormat, AppcastItem::NotesFormat::Markdown);
    }

    void theNewestNewerItemIsTheUpdate()
    {
        const auto items
            = Appcast::parse(TestFeed::feed({release(QStringLiteral("1.9")),
                                 release(QStringLiteral("1.10"), QStringLiteral("1.10 final")),
                                 release(QStringLiteral("1.2")), release(QStringLiteral("1.9.5"))}))
                  .items;
        QCOMPARE(items.size(), 4);
        const auto update = Appcast::bestUpdate(items, QStringLiteral("1.2.0"), kSystem);
        QVERIFY(update);
        QCOMPARE(update->displayVersionString, QStringLiteral("1.10 final"));
        QVERIFY(!Appcast::bestUpdate(items, QStringLiteral("1.10"), kSystem));
        QVERIFY(!Appcast::bestUpdate(items, QStringLiteral("1.10.0.0"), kSystem));
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1.9.1"), kSystem)->version,
            QStringLiteral("1.10"));
        // A running version that is no version finds nothing newer.
        QVERIFY(!Appcast::bestUpdate(items, QStringLiteral("Unknown"), kSystem));
    }

    void anItemForANewerSystemIsSkipped()
    {
        const auto items = Appcast::parse(
            TestFeed::feed({release(QStringLiteral("3.0"), {}, QStringLiteral("7.0")),
                release(QStringLiteral("2.5"), {}, QStringLiteral("6.1")),
                release(QStringLiteral("2.0"))}))
                               .items;
        QCOMPARE(items.size(), 3);
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1.0"), kSystem)->version,
            QStringLiteral("2.5"));
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1.0"), QStringLiteral("5.10"))->version,
            QStringLiteral("2.0"));
        QCOMPARE(
            Appcast::bestUpdate(items, QStringLiteral("1.0"), QStringLiteral("7.0.1"))->version,
            QStringLiteral("3.0"));
        // A system of unknown version gets only what needs none.
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1.0"), QString())->version,
            QStringLiteral("2.0"));
    }

    void anEmptyChannelHasNoItems()
    {
        const Appcast::ParseResult result = Appcast::parse(TestFeed::rss({}));
        QVERIFY(result.error.isEmpty());
        QVERIFY(result.items.isEmpty());
    }

    void brokenFeedsAreRefusedWhole_data()
    {
        QTest::addColumn<QByteArray>("feed");
        const QByteArray good = TestFeed::item(release(QStringLiteral("2.0")));
        auto without = [&good](const char* what, const char* replacement = "") {
            QByteArray item = good;
            const QRegularExpression pattern(QString::fromLatin1(what));
            return withItem(QString::fromUtf8(item)
                                .replace(pattern, QString::fromLatin1(replacement))
                                .toUtf8());
        };
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not xml") << QByteArray("{\"version\": \"2.0\"}");
        QTest::newRow("cut short") << withItem(good).left(withItem(good).size() / 2);
        QTest::newRow("not rss") << QByteArray("<feed><item/></feed>");
        QTest::newRow("rss 0.91") << withItem(good).replace("version=\"2.0\"", "version=\"0.91\"");
        QTest::newRow("two roots") << withItem(good) + "<rss version=\"2.0\"/>";
        QTest::newRow("a document type")
            << "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY a \"aaaa\">]>"
                + withItem(good).mid(withItem(good).indexOf("<rss"));
        QTest::newRow("an unknown entity") << withItem(good).replace("Better", "&boom;");
        QTest::newRow("no version") << without("<vantor:version>[^<]*</vantor:version>");
        QTest::newRow("bad version")
            << without("<vantor:version>2.0<", "<vantor:version>2.0-beta<");
        QTest::newRow("version in no namespace") << without("vantor:version", "version");
        QTest::newRow("bad minimum system") << without("<description>",
            "<vantor:minimumSystemVersion>new</vantor:minimumSystemVersion><description>");
        QTest::newRow("no date") << without("<pubDate>[^<]*</pubDate>");
        QTest::newRow("bad date") << without("Tue, 24 Nov 2026", "yesterday");
        QTest::newRow("no enclosure") << without("<enclosure[^>]*/>");
        QTest::newRow("two enclosures") << without("(<enclosure[^>]*/>)", "\\1\\1");
        QTest::newRow("no url") << without("url=\"[^\"]*\"");
        QTest::newRow("relative url") << without("url=\"[^\"]*\"", "url=\"Vantor.AppImage\"");
        QTest::newRow("no length") << without("length=\"[^\"]*\"");
        QTest::newRow("negative length") << without("length=\"[^\"]*\"", "length=\"-5\"");
        QTest::newRow("length not a number") << without("length=\"[^\"]*\"", "length=\"big\"");
        QTest::newRow("no type") << without("type=\"[^\"]*\"");
        QTest::newRow("no signature") << without("vantor:edSignature=\"[^\"]*\"");
        QTest::newRow("short signature")
            << without("vantor:edSignature=\"[^\"]*\"", "vantor:edSignature=\"AAAA\"");
        QTest::newRow("signature not base64")
            << without("vantor:edSignature=\"[^\"]*\"", "vantor:edSignature=\"%%%\"");
        QTest::newRow("unknown notes format")
            << without("<description>", "<description vantor:format=\"rtf\">");
        QTest::newRow("elements in the notes")
            << without("<description>[^<]*</description>", "<description><p>raw</p></description>");
    }

    void brokenFeedsAreRefusedWhole()
    {
        QFETCH(QByteArray, feed);
        const QByteArray good = TestFeed::item(release(QStringLiteral("3.0")));
        // A good item beside the broken one is not taken either.
        feed.replace("<channel><title>Vantor</title>", "<channel><title>Vantor</title>" + good);
        const Appcast::ParseResult result = Appcast::parse(feed);
        QVERIFY(!result.error.isEmpty());
        QVERIFY(result.items.isEmpty());
    }

    void aHugeFeedIsRefusedUnread()
    {
        QByteArray huge = TestFeed::rss(QByteArray(Appcast::kMaximumFeedBytes, ' '));
        const Appcast::ParseResult result = Appcast::parse(huge);
        QVERIFY(result.error.contains(QLatin1String("more than allowed")));
        QVERIFY(result.items.isEmpty());
    }

    void tooManyItemsAreRefused()
    {
        const QByteArray item = TestFeed::item(release(QStringLiteral("2.0")));
        QByteArray items;
        for (qsizetype i = 0; i <= Appcast::kMaximumItems; ++i)
            items += item;
        const Appcast::ParseResult result = Appcast::parse(TestFeed::rss(items));
        QVERIFY(result.error.contains(QLatin1String("items")));
        QVERIFY(result.items.isEmpty());
    }

    void otherElementsAreSkipped()
    {
        QByteArray feed = TestFeed::feed({release(QStringLiteral("2.0"))});
        feed.replace("<title>Vantor</title>",
            "<title>Vantor</title><link>https://vantor.app</link><language>en</language>");
        feed.replace("<pubDate>",
            "<guid>x</guid><sparkle:channel "
            "xmlns:sparkle=\"other\">beta</sparkle:channel><pubDate>");
        const Appcast::ParseResult result = Appcast::parse(feed);
        QVERIFY2(result.error.isEmpty(), qPrintable(result.error));
        QCOMPARE(result.items.size(), 1);
    }

    void aKeyIsExactly32BytesOfBase64()
    {
        QVERIFY(UpdateSigningKey::fromBase64(TestSigning::publicKeyBase64()));
        QVERIFY(!UpdateSigningKey::fromBase64(""));
        QVERIFY(!UpdateSigningKey::fromBase64("AAAA"));
        QVERIFY(!UpdateSigningKey::fromBase64("not a key at all, not a key at all"));
        QVERIFY(!UpdateSigningKey::fromBase64(TestSigning::testKeyPair().secretKey.toBase64()));
    }

    void aGoodSignatureVerifies()
    {
        const QByteArray feed = TestFeed::feed({release(QStringLiteral("2.0"))});
        QVERIFY(testKey().verifies(feed, rawSignature(feed)));
        const QByteArray file(100000, 'x');
        QVERIFY(testKey().verifies(file, rawSignature(file)));
    }

    void aTamperedMessageFails()
    {
        const QByteArray feed = TestFeed::feed({release(QStringLiteral("2.0"))});
        const QByteArray signature = rawSignature(feed);
        QByteArray swapped = feed;
        swapped.replace("2.0", "9.0");
        QVERIFY(!testKey().verifies(swapped, signature));
        QByteArray flipped = feed;
        flipped[flipped.size() / 2] = static_cast<char>(flipped.at(flipped.size() / 2) ^ 1);
        QVERIFY(!testKey().verifies(flipped, signature));
        QVERIFY(!testKey().verifies(feed + ' ', signature));
    }

    void aTamperedSignatureFails()
    {
        const QByteArray file("the release");
        QByteArray signature = rawSignature(file);
        signature[3] = static_cast<char>(signature.at(3) ^ 0x40);
        QVERIFY(!testKey().verifies(file, signature));
        QVERIFY(!testKey().verifies(file, signature.left(63)));
        QVERIFY(!testKey().verifies(file, {}));
    }

    void anotherKeysSignatureFails()
    {
        const QByteArray file("the release");
        const TestSigning::KeyPair other = TestSigning::otherKeyPair();
        QVERIFY(!testKey().verifies(file, rawSignature(file, other)));
        // and the test key's signature is not the other key's.
        QVERIFY(!UpdateSigningKey::fromBase64(other.publicKey.toBase64())
                     ->verifies(file, rawSignature(file)));
    }
};

VANTOR_UNIT_TEST_MAIN(UpdateFeedTest)
#include "tst_update_feed.moc"
