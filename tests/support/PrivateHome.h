#pragma once

#include <QTemporaryDir>

/// A home of the test's own: what the program keeps for its user goes to a temporary folder. Make
/// it before the QCoreApplication, and before anything asks for a standard folder.
class PrivateHome
{
public:
    PrivateHome()
    {
        const QByteArray home = m_folder.path().toLocal8Bit();
        qputenv("HOME", home);
        qputenv("CFFIXED_USER_HOME", home); // What "home" is to Apple's own libraries.
        qputenv("XDG_DATA_HOME", home + "/data");
        qputenv("XDG_CONFIG_HOME", home + "/config");
        qputenv("XDG_CACHE_HOME", home + "/cache");
        // A proxy of the machine's has no business between a test and its own server.
        for (const char *name :
             {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
            qunsetenv(name);
    }

private:
    QTemporaryDir m_folder;
};
