// How many messages there are of each class.
#ifndef VELQ_KIT_LEARNING_CLASS_SIZES_H
#define VELQ_KIT_LEARNING_CLASS_SIZES_H

#include <vector>

namespace velq::kit {

struct ClassSizes {
    double spam = 0; // messages
    double ham = 0;
};

// Of texts with a member `spam`.
template <typename Text>
ClassSizes classSizes(const std::vector<Text> &texts)
{
    ClassSizes sizes;
    for (const Text &text : texts) {
        ++(text.spam ? sizes.spam : sizes.ham);
    }
    return sizes;
}

} // namespace velq::kit

#endif
