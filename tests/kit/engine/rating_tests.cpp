// The kit's ratings against the engine's numbers.
#include "kit/engine/rating.h"

#include <gtest/gtest.h>
#include <limits>

namespace velq::kit {

TEST(rating, comes_from_the_numbers_of_the_exports)
{
    EXPECT_EQ(ratingOf(VELQ_RATING_SPAM), Rating::spam);
    EXPECT_EQ(ratingOf(VELQ_RATING_HAM), Rating::ham);
    EXPECT_EQ(ratingOf(VELQ_RATING_UNSURE), Rating::unsure);
}

TEST(rating, is_unsure_for_a_number_that_stands_for_nothing)
{
    EXPECT_EQ(ratingOf(VELQ_RATING_UNSURE + 1), Rating::unsure);
    EXPECT_EQ(ratingOf(0x100), Rating::unsure) << "not its lowest byte";
    EXPECT_EQ(ratingOf(std::numeric_limits<std::uint32_t>::max()), Rating::unsure);
}

TEST(rating, is_named_in_one_word)
{
    EXPECT_EQ(ratingName(Rating::spam), "spam");
    EXPECT_EQ(ratingName(Rating::ham), "ham");
    EXPECT_EQ(ratingName(Rating::unsure), "unsure");
}

} // namespace velq::kit
