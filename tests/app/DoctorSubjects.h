#pragma once

#include <QStringList>

/// What the doctor looks at, in the order of its report.
inline const QStringList doctorSubjects{
    QStringLiteral("Quillon"),
    QStringLiteral("Display"),
    QStringLiteral("Accessibility"),
    QStringLiteral("Hot key"),
    QStringLiteral("Models folder"),
    QStringLiteral("Qwen2.5 1.5B Instruct"),
    QStringLiteral("Llama 3.2 3B Instruct"),
    QStringLiteral("llama.cpp"),
    QStringLiteral("Screen capture"),
    QStringLiteral("File manager"),
};
