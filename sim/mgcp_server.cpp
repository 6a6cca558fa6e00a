#include "sim/mgcp_server.h"

#include <charconv>

namespace sim {

MgcpServer::MgcpServer() {
    mPeer.setResponder([this](UdpPeer& peer, const Datagram& d) { onDatagram(peer, d); });
}

MgcpServer::~MgcpServer() {
    stop();
}

bool MgcpServer::start(std::uint16_t port) {
    return mPeer.start(port, kLoopbackAddress);
}

void MgcpServer::stop() {
    mPeer.stop();
}

void MgcpServer::setAnswer(MgcpAnswer mode, int copy) {
    std::lock_guard<std::mutex> lock(mMutex);
    mMode = mode;
    mCopy = copy;
}

void MgcpServer::setAnswerCode(std::string code) {
    std::lock_guard<std::mutex> lock(mMutex);
    mCode = std::move(code);
}

bool MgcpServer::acknowledge(std::uint32_t tid, std::string_view code) {
    const std::string answer = mgcpAnswer(code, tid);
    return mPeer.sendTo(kLoopbackAddress, mTerminalPort.load(), answer);
}

bool MgcpServer::sendCommand(std::string_view text) {
    return mPeer.sendTo(kLoopbackAddress, mTerminalPort.load(), text);
}

void MgcpServer::clear() {
    mPeer.clear();
    std::lock_guard<std::mutex> lock(mMutex);
    mCopiesSeen.clear();
    mAnswersSent = 0;
}

std::size_t MgcpServer::answersSent() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mAnswersSent;
}

void MgcpServer::onDatagram(UdpPeer& peer, const Datagram& datagram) {
    const std::string_view text = datagram.text();
    if (!isTerminalCommand(text)) return;
    // Commands go back to wherever the terminal speaks from.
    mTerminalPort = datagram.fromPort;
    int answers = 0;
    std::string answer;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const int copy = ++mCopiesSeen[std::string(text)];
        switch (mMode) {
            case MgcpAnswer::Immediately:
                answers = 1;
                break;
            case MgcpAnswer::Twice:
                answers = 2;
                break;
            case MgcpAnswer::OnCopy:
                answers = copy == mCopy ? 1 : 0;
                break;
            case MgcpAnswer::Never:
                answers = 0;
                break;
        }
        answer = mgcpAnswer(mCode, mgcpTransactionId(text));
        mAnswersSent += static_cast<std::size_t>(answers);
    }
    for (int i = 0; i < answers; ++i) peer.reply(datagram, answer.data(), answer.size());
}

std::string_view mgcpVerb(std::string_view text) {
    return text.substr(0, 4);
}

std::uint32_t mgcpTransactionId(std::string_view text) {
    const std::size_t blank = text.find(' ');
    if (blank == std::string_view::npos) return 0;
    std::uint32_t tid = 0;
    const char* first = text.data() + blank + 1;
    const char* last = text.data() + text.size();
    if (std::from_chars(first, last, tid).ec != std::errc()) return 0;
    return tid;
}

bool isTerminalCommand(std::string_view text) {
    const std::string_view verb = mgcpVerb(text);
    return verb == "RSIP" || verb == "NTFY" || verb == "DLCX";
}

std::vector<std::string> mgcpLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find("\r\n");
        if (end == std::string_view::npos) {
            lines.emplace_back(text);
            break;
        }
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 2);
    }
    return lines;
}

std::string mgcpAnswer(std::string_view code, std::uint32_t tid) {
    std::string answer(code);
    answer += ' ';
    answer += std::to_string(tid);
    if (code == "200") answer += " OK";
    answer += "\r\n";
    return answer;
}

}  // namespace sim
