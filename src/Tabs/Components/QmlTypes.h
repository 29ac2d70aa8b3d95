#pragma once

// Makes the view models, their records and CreateWorkspaceStep known to QML under
// "Vantor 1.0" (none of them is created from QML). Safe to call more than once.
void registerViewModelTypes();
