#pragma once

#include <QTemporaryDir>

/// A temporary home folder for the program's files. Create it before the QCoreApplication, and
/// before the first use of a standard folder.
class PrivateHome
{
public:
    PrivateHome()
    {
        const QByteArray home = m_folder.path().toLocal8Bit();
        qputenv("HOME", home);
        qputenv("CFFIXED_USER_HOME", home); // used by Apple's libraries
        qputenv("XDG_DATA_HOME", home + "/data");
        qputenv("XDG_CONFIG_HOME", home + "/config");
        qputenv("XDG_CACHE_HOME", home + "/cache");
        // Tests must reach their own servers without the machine's proxy.
        for (const char *name :
             {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
            qunsetenv(name);
    }

private:
    QTemporaryDir m_folder;
};
