#pragma once

#include "app/QuillonApp.h"

class QQmlEngine;

/// The panel's views for the application. Main thread.
namespace Ui {
/// Registers the QML module Quillon with an engine.
void install(QQmlEngine &engine);

/// The panel's window, with view models that the engine owns.
[[nodiscard]] QuillonApp::Views views();
} // namespace Ui
