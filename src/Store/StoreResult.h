#pragma once

#include <QString>

#include <optional>

// What a store operation yields: its value, and the reason when it failed. Callers decide
// from it what to tell the user and how to end; the store itself never stops the process.
template <typename T> struct StoreResult {
    T value{};
    std::optional<QString> error;

    bool ok() const { return !error.has_value(); }
};

// A fetch: the records, or the reason the store could not be read.
template <typename T> using FetchResult = StoreResult<T>;

// A write: the reason it failed, nothing when it succeeded.
using SaveResult = std::optional<QString>;
