#pragma once

#include <QString>

#include <compare>
#include <optional>

namespace Platform {

// Compares two machine versions made of numbers separated by dots, segment by segment as
// numbers ("1.10" > "1.9"), missing segments counting as 0 ("1.2" == "1.2.0"). Anything
// else ("1.2-beta", "", "1..2", " 1") is no version: nullopt.
std::optional<std::strong_ordering> compareVersions(const QString& left, const QString& right);

// Whether the text is a machine version compareVersions() accepts.
bool isMachineVersion(const QString& text);

// The leading machine version of a system's version text: "6.1.0" of "6.1.0-13-amd64";
// empty when it starts with none.
QString leadingMachineVersion(const QString& text);

} // namespace Platform
