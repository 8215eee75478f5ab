// Phone numbers as people write them, and the one form in which lists and senders are compared.
#ifndef VELQ_KIT_BASE_PHONE_NUMBER_H
#define VELQ_KIT_BASE_PHONE_NUMBER_H

#include <string>
#include <string_view>

namespace velq::kit {

// Without the blanks, dashes, dots, slashes and brackets that people write between the digits of a number, without the
// "(0)" of "+44 (0)20 7946 0000" and without the invisible marks that contact applications put around numbers. What is
// no such number, as the name of a text sender, only loses the blanks around it.
std::string withoutPunctuation(std::string_view number);

// Whether `number` consists of digits, of which there are three at least, behind a plus sign or none.
bool isPlainNumber(std::string_view number);

// A country whose numbers are brought to one form.
class NumberForm {
  public:
    NumberForm() = default; // of none: every number stays as it is written, but for its punctuation
    // Two letters as in ISO 3166. Throws Error (usage) with what fault() says.
    explicit NumberForm(const std::string &country);

    // What keeps `country` from being one; empty for a good one.
    static std::string fault(const std::string &country);

    // "+447700900123" for "07700 900123" of GB. Short codes, text senders, numbers that begin with 10086 (the engine
    // has a rule for them) and what can be no number stay as they are.
    std::string of(const std::string &number) const;

    // The same for what comes with a message, which without a country stays as it came.
    std::string ofSender(const std::string &number) const
    {
        return isGiven() ? of(number) : number;
    }

    bool isGiven() const
    {
        return !country_.empty();
    }

  private:
    std::string country_; // in capitals
};

} // namespace velq::kit

#endif
