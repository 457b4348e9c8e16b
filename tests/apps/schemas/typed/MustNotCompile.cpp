// Lines that end in "refused" must not compile, for the reason that is given behind, with g++
// and with clang. Everything else must.

// One case is one line.
// clang-format off

#include <string>

#include TYPED_HEADER

using shop::events::Everything;

Everything complete(const std::string& text, long count) {
    return {.productId = "CL-47819", .class_ = 20, .size = Everything::Size::xs, .isNew = count > 1,
            .coupon = nullptr, .lines = {{.name = text}, {.name = "abc", .amount = count}},
            .options = Everything::Options{.size = Everything::Size::s}, .either = 1,
            .otherProperties = true};
}

void texts(Everything& event, const char* pointer, char (&array)[8], std::string_view view) {
    event.productId = "AB-00000";
    event.productId = pointer;
    event.productId = array;
    event.wishList = "abcde";
    event.wishList = view;
    event.wishList = "größer als fünf";  // left to the validation
    event.note = nullptr;
    event.note = std::nullopt;
    event.note = "ab";
    event.coupon = std::nullopt;
    event.lines.push_back({.name = "abc"});
#ifdef WRONG
    event.productId = "CL-4781";  // refused: DoesNotMatchThePattern|is not a constant expression
    event.wishList = "ab";        // refused: IsShorterThan|is not a constant expression
    event.wishList = "abcdef";    // refused: IsLongerThan|is not a constant expression
    event.note = "a";             // refused: IsShorterThan|is not a constant expression
    event.coupon = "123456789";   // refused: IsLongerThan|is not a constant expression
    event.productId = nullptr;    // refused: no match for|no viable
    event.lines.push_back({.name = "abcdef"});  // refused: IsLongerThan|is not a constant expression
    event.productId = 5;          // refused: no match for|no viable
#endif
}

void numbers(Everything& event, std::size_t size, std::optional<int> some) {
    event.class_ = 1;
    event.class_ = size;
    event.price = 0.25;
    event.price = 3;
    event.price = 1.5F;
    event.price = some;
    event.matrix = {{1, 2.5}, zentara::emptyList};
    event.lines = zentara::emptyList;
#ifdef WRONG
    event.class_ = 1.5;     // refused: no match for|no viable
    event.class_ = true;    // refused: no match for|no viable
    event.isNew = 1;        // refused: no match for|no viable
    event.isNew = "yes";    // refused: no match for|no viable
#endif
}

void bounds(Everything& event) {
    event.class_ = 20;
#ifdef WRONG_NUMBER
    event.class_ = 21;    // refused: outside of the bounds|outside of the bounds
    event.class_ = 0;     // refused: outside of the bounds|outside of the bounds
    event.price = 0.0;    // refused: outside of the bounds|outside of the bounds
    event.price = 0.3;    // refused: outside of the bounds|outside of the bounds
    const Everything other{.productId = "CL-47819", .class_ = 99, .size = Everything::Size::xs, .isNew = false, .coupon = nullptr, .lines = zentara::emptyList, .options = Everything::Options{}, .either = 1};  // refused: outside of the bounds|outside of the bounds
    event.class_ = other.class_;
#endif
}

void types(Everything& event) {
    event.size = Everything::Size::class_;
    event.quality = Everything::Quality::minus1;
    event.options = Everything::Options{};
    event.either = "text";
    event.otherProperties_ = {{"free", 1}};
#ifdef WRONG
    event.size = "xs";                        // refused: no match for|no viable
    event.size = Everything::Size::xl;        // refused: is not a member|no member named
    event.size = Everything::Quality::minus1; // refused: no match for|no viable
    event.quality = 240;                      // refused: no match for|no viable
    event.options = {.color = "red"};         // refused: no match for|no viable
    Everything::LinesItem line{.amount = 3};      // refused: could not convert|no matching constructor
    Everything first{.productId = "CL-47819"};  // refused: could not convert|no matching constructor
    Everything unknown{.product = "CL-47819"};  // refused: no non-static data member|does not refer to any field
#endif
}
