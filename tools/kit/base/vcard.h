// Contacts as phones and address books export them: vCard 2.1 to 4.0.
#ifndef VELQ_KIT_BASE_VCARD_H
#define VELQ_KIT_BASE_VCARD_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

struct Contact {
    struct Telephone {
        std::string number; // as it is written
        std::uint64_t line = 0;
    };
    std::string name;
    std::vector<Telephone> telephones;
};

// Whether a text is of that form, by its beginning.
bool isVcard(std::string_view text);

// Calls `take` for each contact, also one without telephones. Lines that are none of its names and telephones are
// passed over. Text that is not UTF-8 comes as it is.
void readVcards(std::string_view text, const std::function<void(const Contact &)> &take);

} // namespace velq::kit

#endif
