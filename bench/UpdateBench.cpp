// update_feed_parse_verify_ms: a signed feed of 100 releases checked as the update service
// checks it once downloaded: its Ed25519 signature, reading it, choosing the update.
#include "BenchSupport.h"
#include "Benchmarks.h"

#include "Platform/Updates/Appcast.h"
#include "Platform/Updates/Signature.h"
#include "UpdateFeedServer.h"

#include <QElapsedTimer>

#include <vector>

namespace Bench {
namespace {

constexpr int kReleases = 100;
constexpr int kRounds = 20;

QByteArray hundredReleases()
{
    QList<TestFeed::Release> releases;
    for (int i = 0; i < kReleases; ++i) {
        TestFeed::Release release = TestFeed::release(QStringLiteral("1.%1.0").arg(i));
        release.notes
            = QStringLiteral("<h2>What’s new</h2><ul><li>One thing</li><li>Another</li></ul>")
                  .repeated(5);
        releases.append(release);
    }
    return TestFeed::feed(releases);
}

void feedParseAndVerify()
{
    const QByteArray feed = hundredReleases();
    const QByteArray signature = *Platform::signatureFromBase64(TestSigning::sign(feed));
    const auto key = Platform::UpdateSigningKey::fromBase64(TestSigning::publicKeyBase64());
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        const bool verified = key->verifies(feed, signature);
        const auto parsed = Platform::Appcast::parse(feed);
        const auto update = Platform::Appcast::bestUpdate(
            parsed.items, QStringLiteral("1.0"), QStringLiteral("6.1"));
        times.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        if (!verified || parsed.items.size() != kReleases || !update)
            qFatal("The benchmark's feed was not taken");
    }
    report(QStringLiteral("update_feed_parse_verify_ms"), median(times), QStringLiteral("ms"));
}

} // namespace

Group updateBenchmarks()
{
    return {"updates", [](TestDesktop&) { feedParseAndVerify(); }};
}

} // namespace Bench
