#pragma once

#include <QStringList>

using Qt::StringLiterals::operator""_s;

/// The subjects of the doctor's report, in order.
inline const QStringList doctorSubjects{
    u"Quillon"_s,
    u"Display"_s,
    u"Accessibility"_s,
    u"Hot key"_s,
    u"Models folder"_s,
    u"Qwen2.5 1.5B Instruct"_s,
    u"Llama 3.2 3B Instruct"_s,
    u"llama.cpp"_s,
    u"Screen capture"_s,
    u"File manager"_s,
};
