// tonegen ROOT: writes every sound file the tone tables name under
// ROOT/media, as 8 kHz 16-bit mono PCM WAVE.
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "sounds.h"
#include "tones/tone_files.h"
#include "wave_writer.h"

namespace {

bool write(const std::filesystem::path& path, const std::vector<std::int16_t>& samples) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (samples.empty() || error || !writeWave(path.string(), samples)) {
        std::fprintf(stderr, "tonegen: can't write %s\n", path.string().c_str());
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: tonegen ROOT\n");
        return 2;
    }
    const std::filesystem::path root(argv[1]);
    bool ok = true;
    for (int i = 0; i < kToneFileCount; ++i) {
        ok = write(root / kToneFileNames[i], toneFileSound(static_cast<ToneFile>(i))) && ok;
    }
    for (const ToneAreaName& area : kToneAreaNames) {
        for (const ServiceToneName& tone : kServiceToneNames) {
            ok = write(root / area.folder / tone.file, serviceToneSound(area.code, tone.code)) && ok;
        }
    }
    return ok ? 0 : 1;
}
