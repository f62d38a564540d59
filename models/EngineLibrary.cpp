#include "models/EngineLibrary.h"

#include "inference/LlamaModel.h"

EngineLibrary EngineLibrary::current()
{
    const LlamaModel::Library library = LlamaModel::library();
    return {library.version, library.backends, library.extensions};
}
