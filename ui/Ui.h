#pragma once

#include "app/QuillonApp.h"

class QQmlEngine;

/// The panel's views as the application takes them. Main thread.
namespace Ui {
/// Makes the QML module Quillon known to an engine.
void install(QQmlEngine &engine);

/// The panel's window, over view models that the engine owns.
[[nodiscard]] QuillonApp::Views views();
} // namespace Ui
