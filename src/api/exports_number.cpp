// Exports: the number formatter. It stands apart from initialize: the first
// set_module_variable creates it, and it lives until the library is unloaded.
#include <atomic>

#include "api/exports_guard.h"
#include "api/globals.h"
#include "support/number_formatter.h"
#include "common/tracer.h"

// Lives until the library goes: the client may call the number exports, and
// hold the last formatted text, at any time until then.
std::atomic<NumberFormatter*> gNumberFormatter{nullptr};

namespace {

// The formatter, created on first use. Two first calls racing each other keep
// one object: the loser frees its own.
NumberFormatter* numberFormatterCreatedOnce() {
    NumberFormatter* current = gNumberFormatter.load(std::memory_order_acquire);
    if (current != nullptr) return current;
    NumberFormatter* created = nullptr;
    try {
        created = new NumberFormatter();
    } catch (...) {
        created = nullptr;
    }
    if (created == nullptr) {
        Tracer::instance()->trace(kTraceCritical, "[CRITICAL ERROR] Object creation failed: NumberFormatter");
        return nullptr;
    }
    if (!gNumberFormatter.compare_exchange_strong(current, created, std::memory_order_acq_rel)) {
        delete created;
        return current;
    }
    return created;
}

NumberFormatter* numberFormatter() {
    return gNumberFormatter.load(std::memory_order_acquire);
}

// Unloading takes the formatter's code away, so its memory goes with it
// rather than stay behind unreachable. At process end this runs after the
// client has stopped calling.
__attribute__((destructor)) void onNumberFormatterUnload() {
    delete gNumberFormatter.exchange(nullptr);
}

}  // namespace

extern "C" {

SP_EXPORT int set_module_variable(const ModuleVariables* record, int mask) {
    return guarded(-1, [&] {
        NumberFormatter* formatter = numberFormatterCreatedOnce();
        return formatter != nullptr ? formatter->setModuleVariables(record, mask) : -1;
    });
}

SP_EXPORT int get_module_variable(ModuleVariables* record, int mask) {
    return guarded(-1, [&] {
        NumberFormatter* formatter = numberFormatter();
        return formatter != nullptr ? formatter->getModuleVariables(record, mask) : -1;
    });
}

SP_EXPORT int check_leading(const sp_wchar_t* text, int length, int rule) {
    return guarded(-1, [&] {
        NumberFormatter* formatter = numberFormatter();
        return formatter != nullptr ? formatter->checkLeading(text, length, rule) : -1;
    });
}

SP_EXPORT int check_added(const sp_wchar_t* text, int length, int rule) {
    return guarded(-1, [&] {
        NumberFormatter* formatter = numberFormatter();
        return formatter != nullptr ? formatter->checkAdded(text, length, rule) : -1;
    });
}

SP_EXPORT int get_formatted_number(const sp_wchar_t* text, int length, sp_wchar_t** out) {
    return guarded(-1, [&] {
        NumberFormatter* formatter = numberFormatter();
        return formatter != nullptr ? formatter->formatNumber(text, length, out) : -1;
    });
}

SP_EXPORT void discard_changes(void) {
    guardedVoid([] {
        NumberFormatter* formatter = numberFormatter();
        if (formatter != nullptr) formatter->discardChanges();
    });
}

}  // extern "C"
