#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace kel
{

// The identity and the answers of our own VST 2 host, shared by every CHostedPlugin made with
// it. Tests change it to pose as another host (vendor, product, version, process level, the
// block size it claims); usePosingAs...() sets a known host's answers at once. The object
// must outlive its plug-ins. Setters are meant for the set-up phase; the getters are read
// from the plug-ins' callbacks on any thread. [any thread; takes its own lock]
class CVstHost
{
public:
    // Process level answer that follows the caller: realtime from inside a process call,
    // user level elsewhere.
    static constexpr int32_t kProcessLevelByThread = -1;
    // Block size answer that follows the size last given with effSetBlockSize.
    static constexpr int32_t kBlockSizeAsSet = 0;

    CVstHost();

    void setVendor(const char* text);
    void setProduct(const char* text);
    void setVendorVersion(int32_t version);
    void setHostVersion(int32_t version);
    void setProcessLevel(int32_t level);
    void setBlockSizeAnswer(int32_t frames);
    // Answer to audioMasterCanDo for one text (1 yes, -1 no, 0 don't know; unknown texts: 0).
    void setCanDo(const char* text, int32_t answer);
    void setTempo(double bpm);
    // With time info off, audioMasterGetTime answers null.
    void setTimeInfoEnabled(bool enabled);
    // Answer audioMasterIdle by calling effEditIdle at once.
    void setIdleCallsEditIdle(bool enabled);

    // The answers of a headless Ardour 7: vendor "Linux Audio Systems", product "Ardour",
    // version 900, process level always 0, block size query 1024, its canDo list.
    void poseAsArdour();

    std::string getVendor() const;
    std::string getProduct() const;
    // Copies for the plug-in's buffers, cut to bytes - 1 characters; they never allocate, as
    // a plug-in may ask from its audio thread. False (and nothing written) for an empty text:
    // a host without a name does not answer the query.
    bool copyVendor(char* out, size_t bytes) const;
    bool copyProduct(char* out, size_t bytes) const;
    int32_t getVendorVersion() const;
    int32_t getHostVersion() const;
    int32_t getProcessLevel() const;
    int32_t getBlockSizeAnswer() const;
    int32_t getCanDo(const char* text) const;
    double getTempo() const;
    bool isTimeInfoEnabled() const;
    bool doesIdleCallEditIdle() const;

private:
    mutable std::mutex mutex;
    std::string vendor = "Kelmont";
    std::string product = "Kelmont Test Host";
    int32_t vendorVersion = 1000;
    int32_t hostVersion = 2400;
    int32_t processLevel = kProcessLevelByThread;
    int32_t blockSizeAnswer = kBlockSizeAsSet;
    std::map<std::string, int32_t, std::less<>> canDoAnswers;
    double tempoBpm = 120.0;
    bool timeInfoEnabled = true;
    bool idleCallsEditIdle = false;
};

} // namespace kel
