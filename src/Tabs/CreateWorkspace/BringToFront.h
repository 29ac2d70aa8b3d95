#pragma once

// Brings Vantor back over other applications: raises and activates its main window (the
// active one, else the first shown), then raises every other window it shows.
void bringVantorToFront();
