#pragma once

class QCoreApplication;

/// Creates the application object of a program without windows, on the main thread. Its event loop
/// also serves the system's interfaces that the platform uses. It is never destroyed: the
/// destructor would wait for a name server that does not answer, long after Ctrl-C.
[[nodiscard]] QCoreApplication *makeCoreApplication(int &argc, char **argv);
