// The terminal's face as text: the display rows the server writes, the key
// lamps, the soft-key labels and the state of the sound path.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "softphone.h"

namespace client {

class PhoneDisplay {
public:
    static constexpr int kRows = 4;
    static constexpr int kColumns = 24;

    PhoneDisplay();

    // A display record as onDisplayText gives it (the text behind "lcd",
    // or a "dtm"/"key" block). Gives a short description for the log.
    std::string applyDisplay(const std::string& record);
    void setLamp(std::uint32_t key, std::uint32_t state) { mLamps[key] = state; }
    // A "slc" block with its key labels.
    void applyLabels(const std::string& block);
    void setCall(const std::string& text) { mCall = text; }
    void setSpeaker(bool on) { mSpeaker = on; }
    void setMute(bool on) { mMute = on; }
    void setOffHook(bool on) { mOffHook = on; }

    std::string row(int index) const;
    std::vector<std::string> render() const;
    static std::string lampName(std::uint32_t state);

private:
    std::vector<std::string> mRows;
    std::map<std::uint32_t, std::uint32_t> mLamps;
    std::map<int, std::string> mLabels;
    std::string mCall = "idle";
    bool mSpeaker = false;
    bool mMute = false;
    bool mOffHook = false;
};

}  // namespace client
