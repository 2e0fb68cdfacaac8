// Elements for some numbers out of many.
#include "Base/SparseVector.h"

#include <gtest/gtest.h>

namespace netrondo::test {

TEST(SparseVector, MakesElementsWhereTheyAreAskedForAndReadsTheDefaultElsewhere)
{
    struct Element {
        int value = 7;
    };
    SparseVector<Element> elements;
    EXPECT_EQ(elements.size(), 0u);
    const auto place = elements.placeOf(1000);
    elements.at(place).value = 1;
    elements.at(elements.placeOf(3)).value = 2;
    EXPECT_EQ(elements.placeOf(1000), place);
    elements.at(place).value += 10;
    const auto& read = elements;
    EXPECT_EQ(elements.size(), 1001u);
    EXPECT_EQ(read[1000].value, 11);
    EXPECT_EQ(read[3].value, 2);
    EXPECT_EQ(read[4].value, 7);
}

} // namespace netrondo::test
