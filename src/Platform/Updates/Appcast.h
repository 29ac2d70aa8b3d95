#pragma once

#include "Platform/Updates/AppcastItem.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace Platform {

// The update feed: an RSS 2.0 channel whose items each describe one release, with the
// release's details in Vantor's own namespace:
//
//   <rss version="2.0" xmlns:vantor="https://vantor.app/xml-namespaces/appcast">
//     <channel><item>
//       <pubDate>Tue, 24 Nov 2026 12:00:00 +0000</pubDate>
//       <vantor:version>1.10.0</vantor:version>
//       <vantor:shortVersionString>1.10</vantor:shortVersionString>   (optional)
//       <vantor:minimumSystemVersion>5.10</vantor:minimumSystemVersion> (optional: kernel)
//       <description vantor:format="markdown">…</description>          (optional; html)
//       <enclosure url="https://…" length="1234" type="…" vantor:edSignature="base64"/>
//     </item></channel>
//   </rss>
//
// A feed with anything wrong in it (not RSS, a DTD, a broken item, too big) is refused
// whole: it was signed by whoever publishes Vantor, so a damaged one is not half-trusted.
namespace Appcast {

inline constexpr auto kNamespace = "https://vantor.app/xml-namespaces/appcast";
inline constexpr qsizetype kMaximumFeedBytes = 2 * 1024 * 1024;
inline constexpr qsizetype kMaximumItems = 1000;

struct ParseResult {
    QList<AppcastItem> items;
    QString error; // empty when the feed was read
};

ParseResult parse(const QByteArray& feed);

// The newest item newer than `runningVersion` whose minimum system `systemVersion` meets;
// nullopt when there is none.
std::optional<AppcastItem> bestUpdate(
    const QList<AppcastItem>& items, const QString& runningVersion, const QString& systemVersion);

} // namespace Appcast

} // namespace Platform
