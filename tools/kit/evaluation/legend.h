// What the figures of a report count, for people.
#ifndef VELQ_KIT_EVALUATION_LEGEND_H
#define VELQ_KIT_EVALUATION_LEGEND_H

#include <array>

namespace velq::kit {

struct LegendEntry {
    const char *name;
    const char *meaning; // short enough for a line behind the name
};

inline constexpr std::array<LegendEntry, 8> legend = {
    {{"SC", "spam caught: spam rated spam, of all spam (recall)"},
     {"BH", "blocked ham: ham rated spam, of all ham; unsure ham is not blocked"},
     {"accuracy", "spam rated spam and ham not rated spam, of all; unsure spam is missed"},
     {"precision", "spam, of all that was rated spam"},
     {"F1", "harmonic mean of precision and recall"},
     {"MCC", "correlation of label and \"rated spam\": 1 all right, 0 chance, -1 all wrong"},
     {"unsure", "neither spam nor ham; hosts deliver such messages and let the user decide"},
     {"training", "off: the store as it was built; on: verdicts of spam train it meanwhile"}}};

} // namespace velq::kit

#endif
