#pragma once

class QQmlEngine;

namespace Ui {
/// Makes the module Quillon known to an engine, which can then load qrc:/Quillon/PanelWindow.qml.
void install(QQmlEngine &engine);
} // namespace Ui
