// The one place where the command prepares texts.
#include "kit/messages/text_form.h"

#include "velq_text.h"

namespace velq::kit {

WideText inForm(TextForm form, const WideText &text)
{
    if (form == TextForm::raw) {
        return text;
    }
    WideText prepared(velq_prepare_text(text.c_str(), nullptr, 0), 0);
    velq_prepare_text(text.c_str(), prepared.data(), prepared.size());
    prepared.pop_back(); // the zero unit
    return prepared;
}

std::u16string utf16InForm(TextForm form, std::string_view text)
{
    return utf16FromWide(inForm(form, wideFromUtf8(text).value_or(WideText())));
}

std::u16string utf16InForm(TextForm form, std::u16string_view text)
{
    return utf16FromWide(inForm(form, wideFromUtf16(text)));
}

} // namespace velq::kit
