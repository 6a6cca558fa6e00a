// Exports: the trace file. They work with or without initialize and always
// give 0.
#include "api/exports_guard.h"
#include "common/tracer.h"

extern "C" {

SP_EXPORT int tracer_startup(const char* fileName) {
    guardedVoid([&] { Tracer::instance()->startup(fileName, kTraceAll); });
    return 0;
}

SP_EXPORT int tracer_add_filter(uint32_t mask) {
    guardedVoid([&] { Tracer::instance()->addFilter(mask); });
    return 0;
}

SP_EXPORT int tracer_remove_filter(uint32_t mask) {
    guardedVoid([&] { Tracer::instance()->removeFilter(mask); });
    return 0;
}

SP_EXPORT int tracer_set_filter(uint32_t mask) {
    guardedVoid([&] { Tracer::instance()->setFilter(mask); });
    return 0;
}

}  // extern "C"
