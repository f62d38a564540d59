#pragma once

#include <memory>

class Accessibility;
class Appearance;
class Diagnosis;
class Keyboard;
class LinuxHotKey;
class Screen;
class Shell;
class Workspace;
class X11Desktop;

// The capabilities that other folders use only through their interface. Each function is defined
// with the class that it creates: makeLinuxScreen() in screenshot/LinuxScreen.cpp. The arguments
// must outlive the result.

[[nodiscard]] std::unique_ptr<Accessibility> makeLinuxAccessibility();
[[nodiscard]] std::unique_ptr<Appearance> makeLinuxAppearance();
[[nodiscard]] std::unique_ptr<Diagnosis> makeLinuxDiagnosis(Accessibility &accessibility,
                                                            Shell &shell, Workspace &workspace);
[[nodiscard]] std::unique_ptr<Keyboard> makeLinuxKeyboard();
[[nodiscard]] std::unique_ptr<Screen> makeLinuxScreen(X11Desktop &desktop);
[[nodiscard]] std::unique_ptr<Shell> makeLinuxShell(const LinuxHotKey &hotKey);
[[nodiscard]] std::unique_ptr<Workspace> makeLinuxWorkspace(X11Desktop &desktop);
