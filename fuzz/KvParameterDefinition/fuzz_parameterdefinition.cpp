// Any bytes through the parameter-definition loader. Whatever loads must survive its own
// stored form unchanged: saving it, loading that text and saving again gives the same bytes.
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::unique_ptr<ParameterDefinition> first(ParameterDefinitionLoader::createAndLoadParameterDefinition(text));
    if (!first)
        return 0;
    const QByteArray saved = ParameterDefinitionSaver::saveParameterDefinition(first.get());
    const std::unique_ptr<ParameterDefinition> second(ParameterDefinitionLoader::createAndLoadParameterDefinition(saved));
    if (!second)
        std::abort(); // the saver wrote something the loader refuses
    if (ParameterDefinitionSaver::saveParameterDefinition(second.get()) != saved)
        std::abort(); // the round trip lost or changed something
    // Loading into an existing definition of the same kind takes the same content.
    std::unique_ptr<ParameterDefinition> target(ParameterDefinition::createClone(second.get()));
    if (!ParameterDefinitionLoader::loadParameterDefinition(target.get(), text)
        || ParameterDefinitionSaver::saveParameterDefinition(target.get()) != saved)
        std::abort();
    return 0;
}
