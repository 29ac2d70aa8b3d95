#include "Platform/Updates/VersionComparison.h"

#include <QList>
#include <QRegularExpression>
#include <QStringView>

namespace Platform {

namespace {

const QRegularExpression& versionPattern()
{
    static const QRegularExpression pattern(QStringLiteral("^[0-9]+(\\.[0-9]+)*$"));
    return pattern;
}

QStringView withoutLeadingZeros(QStringView segment)
{
    qsizetype first = 0;
    while (first + 1 < segment.size() && segment.at(first) == QLatin1Char('0'))
        ++first;
    return segment.mid(first);
}

// Segments are compared as digit strings, so no length of number overflows.
std::strong_ordering compareSegments(QStringView left, QStringView right)
{
    left = withoutLeadingZeros(left);
    right = withoutLeadingZeros(right);
    if (left.size() != right.size())
        return left.size() <=> right.size();
    const int order = left.compare(right);
    return order <=> 0;
}

} // namespace

bool isMachineVersion(const QString& text)
{
    return text.size() <= 64 && versionPattern().match(text).hasMatch();
}

std::optional<std::strong_ordering> compareVersions(const QString& left, const QString& right)
{
    if (!isMachineVersion(left) || !isMachineVersion(right))
        return std::nullopt;
    const QList<QStringView> leftSegments = QStringView(left).split(QLatin1Char('.'));
    const QList<QStringView> rightSegments = QStringView(right).split(QLatin1Char('.'));
    const qsizetype count = std::max(leftSegments.size(), rightSegments.size());
    const QStringView zero = u"0";
    for (qsizetype i = 0; i < count; ++i) {
        const auto order
            = compareSegments(leftSegments.value(i, zero), rightSegments.value(i, zero));
        if (order != std::strong_ordering::equal)
            return order;
    }
    return std::strong_ordering::equal;
}

QString leadingMachineVersion(const QString& text)
{
    static const QRegularExpression leading(QStringLiteral("^[0-9]+(\\.[0-9]+)*"));
    const QString found = leading.match(text).captured(0);
    return isMachineVersion(found) ? found : QString();
}

} // namespace Platform
