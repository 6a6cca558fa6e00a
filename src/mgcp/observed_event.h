// Which observed-event line of the X-P package a key text gives in an NTFY.
#pragma once

#include <string>
#include <string_view>

enum class ObservedEventKind {
    None,            // the text is in no row: the NTFY has no O: line
    Key,             // "O: X-P/fk" and the code
    KeyWithSecondK,  // as Key, and the message bears its K line twice
    Line,            // "O: X-P/" and the code, e.g. "line(0002)"
};

struct ObservedEvent {
    ObservedEventKind kind = ObservedEventKind::None;
    std::string_view code;  // part of the key text, as the text spells it
};

// Rows are matched case-sensitively and whole, in their order; the
// programmable keys 0x0c00 to 0x0c2f match by their first four characters,
// read as hexadecimal in either case.
ObservedEvent lookupObservedEvent(std::string_view keyText);

// The line with its CR LF, or empty for no row.
std::string observedEventLine(std::string_view keyText);
