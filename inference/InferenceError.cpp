#include "inference/InferenceError.h"

const char *InferenceError::what() const noexcept
{
    switch (m_case) {
    case notLoaded:
        return "The language model isn't loaded yet.";
    case loadFailed:
        return "Couldn't load the model file.";
    case contextFailed:
        return "Couldn't create an inference context.";
    case tokenizeFailed:
        return "Couldn't tokenize the prompt.";
    case decodeFailed:
        return "The model failed while generating.";
    }
    Q_UNREACHABLE();
}
