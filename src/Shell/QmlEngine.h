#pragma once

class QQmlEngine;

// Makes Vantor's screens (the "Vantor" module) available to `engine`; the first call
// chooses software rendering for every scene.
// Tests that load screens use it too.
void prepareQmlEngine(QQmlEngine& engine);
