// How many messages there are of each class, each counting by its weight.
#ifndef VELQ_KIT_LEARNING_CLASS_SIZES_H
#define VELQ_KIT_LEARNING_CLASS_SIZES_H

#include <vector>

namespace velq::kit {

struct ClassSizes {
    double spam = 0;
    double ham = 0;
};

// Of texts with the members `spam` and `weight`.
template <typename Text>
ClassSizes classSizes(const std::vector<Text> &texts)
{
    ClassSizes sizes;
    for (const Text &text : texts) {
        (text.spam ? sizes.spam : sizes.ham) += text.weight;
    }
    return sizes;
}

} // namespace velq::kit

#endif
