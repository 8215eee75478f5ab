// Reading requests without a document: members are taken while the line is parsed.
#include "kit/cli/rate_request.h"

#include <cstdint>
#include <nlohmann/json.hpp>

namespace velq::kit {

namespace {

// The value of one member: a text, or anything else as JSON.
struct Member {
    enum class Kind { missing, null, text, scalar, structured };

    Kind kind = Kind::missing;
    std::string content;
};

// Takes the members id, number and body out of a request while it is parsed. What was read before a fault stays: an
// answer can carry the id of a line that is broken further on. A number keeps its digits, however many. The names of
// the functions are the parser's.
class RequestReader {
  public:
    Member id;
    Member number;
    Member body;
    bool isObject = false;

    bool null()
    {
        return take(Member::Kind::null, "null");
    }
    bool boolean(bool value)
    {
        return take(Member::Kind::scalar, value ? "true" : "false");
    }
    bool number_integer(std::int64_t value)
    {
        return take(Member::Kind::scalar, std::to_string(value));
    }
    bool number_unsigned(std::uint64_t value)
    {
        return take(Member::Kind::scalar, std::to_string(value));
    }
    bool number_float(double /*value*/, const std::string &digits)
    {
        return take(Member::Kind::scalar, digits);
    }
    bool string(const std::string &text)
    {
        return take(Member::Kind::text, text);
    }
    static bool binary(const nlohmann::json::binary_t & /*bytes*/)
    {
        return false; // never in text
    }
    bool start_object(std::size_t /*elements*/)
    {
        isObject = isObject || depth_ == 0;
        return enter();
    }
    bool start_array(std::size_t /*elements*/)
    {
        return enter();
    }
    bool key(const std::string &name)
    {
        if (depth_ == 1) {
            current_ = name == "id" ? &id : name == "number" ? &number : name == "body" ? &body : nullptr;
        }
        return true;
    }
    bool end_object()
    {
        return leave();
    }
    bool end_array()
    {
        return leave();
    }
    static bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                            const nlohmann::json::exception & /*why*/)
    {
        return false;
    }

  private:
    bool take(Member::Kind kind, const std::string &content)
    {
        if (depth_ == 1 && current_ != nullptr) {
            *current_ = {kind, content};
        }
        return true;
    }
    bool enter()
    {
        take(Member::Kind::structured, {});
        ++depth_;
        return true;
    }
    bool leave()
    {
        --depth_;
        return true;
    }

    Member *current_ = nullptr;
    std::size_t depth_ = 0;
};

} // namespace

static std::string takeText(const Member &member, const char *name, bool required, WideText &text)
{
    const bool absent = member.kind == Member::Kind::missing;
    if (absent || (!required && member.kind == Member::Kind::null)) {
        return required ? std::string("the member ") + name + " is missing" : std::string();
    }
    if (member.kind != Member::Kind::text) {
        return std::string("the member ") + name + " is not text";
    }
    const auto converted = wideFromUtf8(member.content);
    if (!converted || member.content.find('\0') != std::string::npos) {
        return std::string("the member ") + name + " holds a zero character or is not UTF-8";
    }
    text = *converted;
    return {};
}

RateRequest parseRateRequest(const std::string &line, LineResult result)
{
    RateRequest request;
    RequestReader reader;
    // The parser takes a zero for the end of its input.
    const bool whole = nlohmann::json::sax_parse(line, &reader) && line.find('\0') == std::string::npos;
    if (reader.id.kind == Member::Kind::text) {
        request.id = nlohmann::json(reader.id.content).dump();
    } else if (reader.id.kind == Member::Kind::scalar) {
        request.id = reader.id.content;
    }
    if (result == LineResult::tooLong) {
        request.fault = "the line is longer than 1 MiB";
    } else if (!whole || !reader.isObject) {
        request.fault = "the line is not a JSON object in UTF-8";
    } else if (reader.id.kind == Member::Kind::structured) {
        request.fault = "the member id is neither text nor number";
    } else {
        request.fault = takeText(reader.body, "body", true, request.body);
    }
    if (request.fault.empty()) {
        request.fault = takeText(reader.number, "number", false, request.number);
    }
    return request;
}

} // namespace velq::kit
