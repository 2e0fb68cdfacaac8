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
    elements.at(1000).value = 1;
    elements.at(3).value = 2;
    elements.at(1000).value += 10;
    const auto& read = elements;
    EXPECT_EQ(elements.size(), 1001u);
    EXPECT_EQ(read[1000].value, 11);
    EXPECT_EQ(read[3].value, 2);
    EXPECT_EQ(read[4].value, 7);
    elements.prefetchPlace(1'000'000); // reaches nothing, and does no harm
    elements.prefetchElement(4);
}

} // namespace netrondo::test
