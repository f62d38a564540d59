#pragma once

class QCoreApplication;

/// Makes the application object of a program without windows, on the main thread. Its event loop is
/// one in which the system's own interfaces of this platform work. It is never destroyed: that
/// waits for a name server that does not answer, long after Ctrl-C.
[[nodiscard]] QCoreApplication *makeCoreApplication(int &argc, char **argv);
