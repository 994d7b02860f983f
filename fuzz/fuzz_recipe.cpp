#include "fuzz.h"
#include "recipe/recipe.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Recipe recipe;
    recipe.initDefault(2);
    const Recipe before = recipe;
    if (!recipe.fromJSON(bytesOf(data, size))) {
        FUZZ_CHECK(recipe == before);
        return 0;
    }
    for (const QByteArray &written : {recipe.toJSON(), recipe.toCompactJSON()}) {
        Recipe again;
        FUZZ_CHECK(again.fromJSON(written));
        FUZZ_CHECK(again == recipe);
    }
    recipe.moveStep(0, recipe.numberOfSteps() - 1);
    recipe.removeStep(recipe.numberOfSteps() / 2);
    return 0;
}
