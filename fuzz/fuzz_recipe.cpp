#include "fuzz.h"
#include "recipe/recipe.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Recipe before = [] {
        Recipe two;
        two.initDefault(2);
        return two;
    }();
    Recipe recipe = before;
    if (!recipe.fromJSON(bytesOf(data, size))) {
        FUZZ_CHECK(recipe == before);
        return 0;
    }
    Recipe again; // from either form, which the input chooses
    FUZZ_CHECK(again.fromJSON(size % 2 ? recipe.toJSON() : recipe.toCompactJSON()));
    FUZZ_CHECK(again == recipe);
    recipe.moveStep(0, recipe.numberOfSteps() - 1);
    recipe.removeStep(recipe.numberOfSteps() / 2);
    return 0;
}
