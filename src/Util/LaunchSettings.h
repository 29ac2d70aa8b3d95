#pragma once

#include <chrono>

// How long an activation waits for a launched app's window, and how long it then keeps the
// placed window where it was put (apps that restore their own position right after opening).
struct LaunchSettings {
    std::chrono::milliseconds timeout{10'000};
    std::chrono::milliseconds settleTime{1'500}; // 0: not watched

    // From the user's preferences, "launchTimeout" and "launchSettleTime" in seconds; values
    // that are missing, not numbers or out of range keep their defaults.
    static LaunchSettings fromPreferences();
};
