#include "CSoakRun.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>

namespace kel
{

namespace
{
// Every output sample must stay finite and within this bound: the input peaks at 0.1 and an
// inserted signal at unit level, mixed by at most 1.25.
constexpr double kOutputBoundLin = 4.0;
// A plug-in writes parameter texts into 8 bytes and program names into 24, terminators included.
constexpr int kParamTextBytes = 8;
constexpr int kProgramNameBytes = 24;
// Longest a block or the end of a thread may take before the run is taken as hung.
constexpr double kStuckSec = 30.0;
// Bypass has settled this long after the block that first saw it: two crossfades (a change
// arriving during one is served when it ends) and a run, rounded up generously.
constexpr double kBypassSettleSec = 0.05;

double uniform(std::mt19937_64& random, double low, double high)
{
    return std::uniform_real_distribution<double>(low, high)(random);
}

int uniformInt(std::mt19937_64& random, int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(random);
}

// Resident memory of this process in kilobytes, 0 where the system does not say.
long residentKb()
{
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return 0;
    char line[256];
    long kb = 0;
    while (std::fgets(line, sizeof(line), status))
        if (std::sscanf(line, "VmRSS: %ld", &kb) == 1)
            break;
    std::fclose(status);
    return kb;
}

std::string formatError(CError* error)
{
    std::unique_ptr<CError> owned(error);
    char text[1024];
    owned->formatChain(text, sizeof(text));
    for (char* c = text; *c; ++c)
        if (*c == '\n')
            *c = ' ';
    return text;
}
} // namespace

CSoakRun::CSoakRun(const COptions& runOptions) : options(runOptions), plugin(host), tracker(log) {}

void CSoakRun::giveUp(const char* format)
{
    char text[256];
    std::snprintf(text, sizeof(text), format, kStuckSec);
    log.violation(audioSec(), "%s", text);
    printReport(stdout);
    std::fflush(stdout);
    std::_Exit(3);
}

CError* CSoakRun::run()
{
    host.setProduct("zumbel-soak");
    KEL_CHECK(plugin.load(options.pluginPath.c_str()));
    plugin.open();
    prepare();

    const auto began = std::chrono::steady_clock::now();
    auto counted = [this](void (CSoakRun::*body)())
    {
        return std::thread(
            [this, body]()
            {
                (this->*body)();
                ++threadsDone;
            });
    };
    std::thread audio = counted(&CSoakRun::runAudio);
    std::thread automation = counted(&CSoakRun::runAutomation);
    std::thread state = counted(&CSoakRun::runState);
    std::thread programs = counted(&CSoakRun::runPrograms);
    const auto deadline = began + std::chrono::duration<double>(options.seconds);
    // A plug-in that deadlocks is the soak's chief find: if the audio stops moving, or the
    // threads do not come home after the end, say so and leave without waiting.
    int64_t lastFrames = -1;
    auto lastMove = began;
    while (std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const auto now = std::chrono::steady_clock::now();
        // Once the buffers and pools have grown: a leak shows as growth from here to the end.
        if (earlyKb == 0 && now - began > std::chrono::duration<double>(options.seconds / 10.0))
            earlyKb = residentKb();
        if (framesDone.load() != lastFrames)
        {
            lastFrames = framesDone.load();
            lastMove = now;
        }
        else if (now - lastMove > std::chrono::duration<double>(kStuckSec))
            giveUp("the audio thread has not finished a block for %.0f s");
    }
    stopping = true;
    const auto stopped = std::chrono::steady_clock::now();
    while (threadsDone.load() < 4)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (std::chrono::steady_clock::now() - stopped > std::chrono::duration<double>(kStuckSec))
            giveUp("the threads have not ended %.0f s after the end of the run");
    }
    automation.join();
    state.join();
    programs.join();
    audio.join();
    wallSec = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();

    lateKb = residentKb();
    checkCallbacks();
    plugin.unload();
    return nullptr;
}

void CSoakRun::prepare()
{
    effectName = plugin.getEffectName();
    vendorName = plugin.getVendorString();
    numParams = plugin.getNumParams();
    numPrograms = plugin.getNumPrograms();
    pinsIn = plugin.getNumInputs();
    pinsOut = plugin.getNumOutputs();
    chunksAdvertised = plugin.hasFlag(kEffectFlagProgramChunks);
    hasDouble = plugin.hasFlag(kEffectFlagCanDoubleReplacing);
    for (int index = 0; index < numParams; ++index)
    {
        const std::string name = plugin.getParameterName(index);
        if (index == 0 && name == "Bypass")
            bypassIndex = 0;
        else if (name == "Period")
            periodIndex = index;
        else if (name == "Duratn")
            durationIndex = index;
        else if (name == "Variatn")
            variationIndex = index;
    }
    channels = std::max(1, std::min({options.channels, pinsIn, pinsOut}));

    // Everything the callbacks read is set before the other threads exist.
    plugin.setSampleRate(options.rateHz);
    plugin.setBlockSize(kMaxBlockFrames);
    // No speaker arrangement: the plug-in runs on all its pins, the first `channels` carry the
    // signal and the rest silence. (With a narrower arrangement a plug-in may leave the pins
    // beyond it unwritten, which our host reports as a fault on every block.)

    auto sized = [](auto& buffers, auto& pointers, int count)
    {
        buffers.assign(count,
                       typename std::decay_t<decltype(buffers)>::value_type(kMaxBlockFrames));
        pointers.resize(count);
        for (int ch = 0; ch < count; ++ch)
            pointers[ch] = buffers[ch].data();
    };
    sized(signalBuffers, signalPtrs, channels);
    sized(inFloat, inFloatPtrs, channels);
    sized(inDouble, inDoublePtrs, channels);
    sized(outFloat, outFloatPtrs, std::max(pinsOut, 1));
    sized(outDouble, outDoublePtrs, std::max(pinsOut, 1));
    diffLin.assign(kMaxBlockFrames, 0.0);
    signal.reset(channels, options.rateHz, static_cast<uint32_t>(options.seed * 2654435761u));
    tracker.setRules(CSoakEventTracker::rulesFor(options.rateHz));
    bypassSettleFrames =
        static_cast<int64_t>(std::ceil(kBypassSettleSec * options.rateHz)) + kMaxBlockFrames;
}

// ---- audio thread ----

int CSoakRun::drawBlockFrames(std::mt19937_64& random) const
{
    static const int kAwkward[] = {1, 2, 7, 63, 64, 511, 512, 513, 1000, 1023, 4095, 4096};
    switch (random() % 4)
    {
    case 0:
        return uniformInt(random, 1, 64);
    case 1:
        return kAwkward[random() % (sizeof(kAwkward) / sizeof(kAwkward[0]))];
    case 2:
        return uniformInt(random, 65, 1024);
    default:
        return uniformInt(random, 1, kMaxBlockFrames);
    }
}

void CSoakRun::resumeAudio(std::mt19937_64& random)
{
    // Precision changes only while suspended, as hosts do; most cycles switch it.
    if (hasDouble && random() % 4 != 0)
        doublePrecision = !doublePrecision;
    inPlace = random() % 3 == 0;
    if (plugin.setProcessPrecision(doublePrecision) == 0 && hasDouble)
        log.violation(audioFrame / options.rateHz, "the plug-in refused %s precision",
                      doublePrecision ? "double" : "float");
    plugin.setProcessMode(doublePrecision, inPlace);
    plugin.setActive(true);
    tracker.start(audioFrame);
    bypassKnownAt = UINT64_MAX;
}

void CSoakRun::runAudio()
{
    std::mt19937_64 random(options.seed * 4 + 0);
    doublePrecision = hasDouble && random() % 2 == 0;
    resumeAudio(random);
    auto drawCycle = [&]()
    { return audioFrame + static_cast<int64_t>(uniform(random, 1.0, 20.0) * options.rateHz); };
    int64_t nextCycle = drawCycle();
    while (!stopping.load(std::memory_order_relaxed))
    {
        if (audioFrame >= nextCycle)
        {
            tracker.stop();
            plugin.setActive(false);
            ++suspends;
            resumeAudio(random);
            nextCycle = drawCycle();
        }
        const int frames = drawBlockFrames(random);
        signal.generate(signalPtrs.data(), frames);

        if (doublePrecision)
        {
            processAndCheck(inDoublePtrs.data(), outDoublePtrs.data(), frames);
            ++doubleBlocks;
        }
        else
        {
            processAndCheck(inFloatPtrs.data(), outFloatPtrs.data(), frames);
            ++floatBlocks;
        }
        if (inPlace)
            ++inPlaceBlocks;
        ++blocks;
        audioFrame += frames;
        framesDone.store(audioFrame);
    }
    tracker.stop();
    plugin.setActive(false);
}

template <typename S> void CSoakRun::processAndCheck(S* const* in, S* const* out, int frames)
{
    for (int ch = 0; ch < channels; ++ch)
        for (int i = 0; i < frames; ++i)
            in[ch][i] = static_cast<S>(signalPtrs[ch][i]);

    // Bypass is known for this block only if no call that might change it is under way now
    // or begins before the block is done; a fresh reading starts the settling again.
    const uint64_t endedBefore = bypassCallsEnded.load();
    const uint64_t begunBefore = bypassCallsBegun.load();
    bool stable = bypassIndex >= 0 && begunBefore == endedBefore;
    if (stable && bypassKnownAt != begunBefore)
    {
        const bool on = plugin.getParameter(bypassIndex) >= 0.5f;
        if (bypassCallsBegun.load() == begunBefore)
        {
            bypassKnownAt = begunBefore;
            bypassKnownOn = on;
            bypassKnownSince = audioFrame;
        }
        else
            stable = false;
    }

    if (CError* error = plugin.processBlock(in, channels, out, pinsOut, frames))
    {
        // The outputs were not handed back: nothing to check, and the event there is unknown.
        log.violation(audioFrame / options.rateHz, "host: %s", formatError(error).c_str());
        tracker.stop();
        return;
    }
    int64_t bypassedFrom = INT64_MAX;
    if (stable && bypassKnownOn && bypassKnownAt == begunBefore &&
        bypassCallsBegun.load() == begunBefore)
    {
        bypassedFrom = bypassKnownSince + bypassSettleFrames;
        if (bypassedFrom < audioFrame + frames)
            ++bypassCheckedBlocks;
    }

    for (int ch = 0; ch < pinsOut; ++ch)
    {
        const S* samples = out[ch];
        for (int i = 0; i < frames; ++i)
        {
            const double value = samples[i];
            if (!std::isfinite(value) || std::fabs(value) > kOutputBoundLin)
            {
                log.violation((audioFrame + i) / options.rateHz,
                              "output %d holds %g (must be finite, |x| <= %g)", ch, value,
                              kOutputBoundLin);
                break;
            }
        }
    }
    for (int i = 0; i < frames; ++i)
    {
        double largest = 0.0;
        for (int ch = 0; ch < channels; ++ch)
        {
            const double diff = std::fabs(static_cast<double>(out[ch][i]) - in[ch][i]);
            // NaN must survive as the largest.
            if (!(diff <= largest))
                largest = diff;
        }
        diffLin[i] = largest;
    }
    tracker.feed(diffLin.data(), frames, audioFrame, bypassedFrom);
}

// ---- host threads ----

bool CSoakRun::waitAudio(double seconds) const
{
    const int64_t target = framesDone.load() + static_cast<int64_t>(seconds * options.rateHz);
    while (!stopping.load())
    {
        if (framesDone.load() >= target)
            return true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

double CSoakRun::audioSec() const
{
    return framesDone.load() / options.rateHz;
}

template <typename F> auto CSoakRun::bypassAffecting(F call)
{
    ++bypassCallsBegun;
    auto answer = call();
    ++bypassCallsEnded;
    return answer;
}

float CSoakRun::drawParamValue(std::mt19937_64& random, int index) const
{
    // Short periods, so that events happen between the bursts; long durations and the widest
    // variation, so that the length rule is tried at its edge.
    if (index == periodIndex && random() % 10 < 7)
        return static_cast<float>(uniform(random, 0.0, 0.03));
    if ((index == durationIndex || index == variationIndex) && random() % 10 < 3)
        return 1.0f;
    return static_cast<float>(uniform(random, 0.0, 1.0));
}

void CSoakRun::runAutomation()
{
    std::mt19937_64 random(options.seed * 4 + 1);
    const int first = bypassIndex == 0 ? 1 : 0;
    if (numParams <= first)
        return;
    while (waitAudio(uniform(random, 0.3, 8.0)))
    {
        // A burst is what a host plays back of one touch of a control, between the begin and
        // end of the gesture: many values of one parameter in quick succession; or a scatter
        // over all parameters.
        const bool scatter = random() % 3 == 0;
        int index = uniformInt(random, first, numParams - 1);
        float value = drawParamValue(random, index);
        const int calls = uniformInt(random, 1, 48);
        ++automationBursts;
        for (int call = 0; call < calls && !stopping.load(); ++call)
        {
            if (scatter)
            {
                index = uniformInt(random, first, numParams - 1);
                value = drawParamValue(random, index);
            }
            else if (call + 1 == calls)
                value = drawParamValue(random, index);
            else
                value =
                    static_cast<float>(std::clamp(value + uniform(random, -0.05, 0.05), 0.0, 1.0));
            {
                std::shared_lock<std::shared_mutex> gate(stateGate);
                plugin.setParameter(index, value);
            }
            ++automationCalls;
            if (random() % 4 == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(uniformInt(random, 0, 500)));
        }
    }
}

std::vector<uint8_t> CSoakRun::saveChunk(bool preset)
{
    std::vector<uint8_t> bytes = plugin.getChunk(preset);
    ++chunksSaved;
    const char* form = preset ? "preset" : "bank";
    if (bytes.size() <= CChunkDamage::kReservedBytes + CChunkDamage::kHeadBytes)
        log.violation(audioSec(), "getChunk (%s) gave %zu bytes", form, bytes.size());
    else if (std::any_of(bytes.begin(), bytes.begin() + CChunkDamage::kReservedBytes,
                         [](uint8_t byte) { return byte != 0; }))
        log.violation(audioSec(), "getChunk (%s): the 16 reserved bytes are not zero", form);
    return bytes;
}

CSoakRun::CSnapshot CSoakRun::takeSnapshot()
{
    CSnapshot made;
    made.bank = plugin.getChunk(false);
    made.program = plugin.getProgram();
    for (int index = 0; index < numParams; ++index)
        made.params.push_back(plugin.getParameter(index));
    return made;
}

void CSoakRun::setChunkChangingNothing(const std::vector<uint8_t>& bytes, bool preset,
                                       intptr_t expectedAnswer, const char* what)
{
    std::unique_lock<std::shared_mutex> gate(stateGate);
    const CSnapshot before = takeSnapshot();
    const bool steady = takeSnapshot() == before;
    // Never a null pointer, even for no bytes: refusing one is the dispatcher's right.
    static const uint8_t kNothing[1] = {0};
    const uint8_t* data = bytes.empty() ? kNothing : bytes.data();
    const intptr_t answer =
        bypassAffecting([&]() { return plugin.setChunk(data, bytes.size(), preset); });
    const char* form = preset ? "preset" : "bank";
    if (answer != expectedAnswer)
        log.violation(audioSec(), "setChunk (%s, %s, %zu bytes) answered %ld, not %ld", form, what,
                      bytes.size(), static_cast<long>(answer), static_cast<long>(expectedAnswer));
    if (!steady)
        ++unverifiedChunks;
    else if (takeSnapshot() != before)
        log.violation(audioSec(), "setChunk (%s, %s, %zu bytes) changed the state", form, what,
                      bytes.size());
}

void CSoakRun::runState()
{
    std::mt19937_64 random(options.seed * 4 + 2);
    if (!chunksAdvertised)
        return;
    std::vector<CSavedChunk> pool;
    while (waitAudio(uniform(random, 0.3, 6.0)))
    {
        const bool preset = random() % 2 == 0;
        const int action = static_cast<int>(random() % 12);
        if (action < 3 || pool.empty())
        {
            CSavedChunk saved{saveChunk(preset), preset};
            if (pool.size() < kChunkPoolSize)
                pool.push_back(std::move(saved));
            else
                pool[random() % pool.size()] = std::move(saved);
        }
        else if (action < 7)
        {
            // Straight back into the same instance, or an older state from the pool.
            CSavedChunk chunk =
                action < 5 ? CSavedChunk{saveChunk(preset), preset} : pool[random() % pool.size()];
            std::shared_lock<std::shared_mutex> gate(stateGate);
            const intptr_t answer = bypassAffecting(
                [&]()
                { return plugin.setChunk(chunk.bytes.data(), chunk.bytes.size(), chunk.preset); });
            ++chunksLoaded;
            if (answer != 1)
                log.violation(audioSec(), "setChunk (%s, %zu bytes, %s) answered %ld, not 1",
                              chunk.preset ? "preset" : "bank", chunk.bytes.size(),
                              action < 5 ? "just saved" : "saved earlier",
                              static_cast<long>(answer));
        }
        else if (action < 9)
        {
            // 16 bytes or fewer: accepted as empty, nothing changes.
            std::vector<uint8_t> bytes(random() % (CChunkDamage::kReservedBytes + 1));
            for (uint8_t& byte : bytes)
                byte = random() % 2 ? static_cast<uint8_t>(random()) : 0;
            setChunkChangingNothing(bytes, preset, 1, "empty");
            ++emptyChunks;
        }
        else
        {
            const CSavedChunk& source = pool[random() % pool.size()];
            std::vector<uint8_t> bytes = source.bytes;
            const auto kind = static_cast<CChunkDamage::EKind>(
                random() % static_cast<int>(CChunkDamage::EKind::Count));
            if (!CChunkDamage::apply(bytes, kind, random()))
                continue;
            const bool form = CChunkDamage::swapsForm(kind) ? !source.preset : source.preset;
            setChunkChangingNothing(bytes, form, 0, CChunkDamage::kindName(kind));
            ++damageCounts[static_cast<int>(kind)];
            ++damagedRefused;
        }
    }
}

void CSoakRun::checkText(const std::string& text, int limitBytes, const char* what, int index)
{
    ++textQueries;
    if (plugin.getLastTextBytes() > limitBytes)
        log.violation(audioSec(), "%s %d wrote %d bytes into a %d-byte field (\"%s\")", what, index,
                      plugin.getLastTextBytes(), limitBytes, text.c_str());
}

void CSoakRun::runPrograms()
{
    std::mt19937_64 random(options.seed * 4 + 3);
    bool bypassOn = false;
    while (waitAudio(uniform(random, 0.2, 5.0)))
    {
        const int action = static_cast<int>(random() % 10);
        if (action < 3 && numPrograms > 0)
        {
            const int program = uniformInt(random, 0, numPrograms - 1);
            std::shared_lock<std::shared_mutex> gate(stateGate);
            bypassAffecting(
                [&]()
                {
                    plugin.setProgram(program);
                    return 0;
                });
            ++programChanges;
        }
        else if (action < 6 && bypassIndex >= 0)
        {
            bypassOn = !bypassOn;
            std::shared_lock<std::shared_mutex> gate(stateGate);
            bypassAffecting(
                [&]()
                {
                    plugin.setParameter(bypassIndex, bypassOn ? 1.0f : 0.0f);
                    return 0;
                });
            ++bypassToggles;
        }
        else
        {
            // The texts a host's generic editor and its program menu ask for.
            for (int index = 0; index < numParams; ++index)
            {
                checkText(plugin.getParameterDisplay(index), kParamTextBytes, "parameter display",
                          index);
                checkText(plugin.getParameterLabel(index), kParamTextBytes, "parameter label",
                          index);
                checkText(plugin.getParameterName(index), kParamTextBytes, "parameter name", index);
            }
            checkText(plugin.getProgramName(), kProgramNameBytes, "program name", 0);
            if (numPrograms > 0)
            {
                const int program = uniformInt(random, 0, numPrograms - 1);
                checkText(plugin.getProgramNameIndexed(program), kProgramNameBytes,
                          "indexed program name", program);
            }
        }
    }
}

void CSoakRun::checkCallbacks()
{
    const int64_t begins = plugin.countCallbacks(kHostBeginEdit);
    const int64_t ends = plugin.countCallbacks(kHostEndEdit);
    if (begins != ends)
        log.violation(audioSec(), "%lld beginEdit callbacks but %lld endEdit",
                      static_cast<long long>(begins), static_cast<long long>(ends));
    // The log holds the first callbacks only, which is plenty to catch a plug-in that
    // automates a parameter it does not have or with a value out of range.
    for (const CHostedPlugin::CCallRecord& call : plugin.getCallbacks(kHostAutomate))
    {
        if (call.index < 0 || call.index >= numParams || !(call.opt >= -1e-6f) ||
            !(call.opt <= 1.0f + 1e-6f))
        {
            log.violation(audioSec(), "automation callback for parameter %d with value %g",
                          call.index, call.opt);
            break;
        }
    }
}

void CSoakRun::printReport(std::FILE* out) const
{
    const double audioSeconds = framesDone.load() / options.rateHz;
    std::fprintf(out, "plug-in: %s (%s), %d in, %d out, %d parameters, %d programs%s%s\n",
                 effectName.c_str(), vendorName.c_str(), pinsIn, pinsOut, numParams, numPrograms,
                 chunksAdvertised ? "" : ", no chunks (state not exercised)",
                 bypassIndex >= 0 ? "" : ", no \"Bypass\" at 0 (bypass not exercised)");
    std::fprintf(out, "setup: %d channels at %.0f Hz, blocks of 1..%d frames, seed %llu\n",
                 channels, options.rateHz, kMaxBlockFrames,
                 static_cast<unsigned long long>(options.seed));
    std::fprintf(out, "seconds: %.1f wall, %.1f audio (%.1fx real time)\n", wallSec, audioSeconds,
                 wallSec > 0.0 ? audioSeconds / wallSec : 0.0);
    std::fprintf(out, "blocks: %lld (%lld float, %lld double, %lld in place)\n",
                 static_cast<long long>(blocks.load()), static_cast<long long>(floatBlocks.load()),
                 static_cast<long long>(doubleBlocks.load()),
                 static_cast<long long>(inPlaceBlocks.load()));
    std::fprintf(out, "frames: %lld\n", static_cast<long long>(framesDone.load()));
    std::fprintf(out, "suspend/resume cycles: %lld\n", static_cast<long long>(suspends.load()));
    std::fprintf(out, "chunks saved: %lld\n", static_cast<long long>(chunksSaved.load()));
    std::fprintf(out, "chunks loaded: %lld\n", static_cast<long long>(chunksLoaded.load()));
    std::fprintf(out, "empty chunks: %lld\n", static_cast<long long>(emptyChunks.load()));
    std::fprintf(out, "damaged chunks: %lld (", static_cast<long long>(damagedRefused.load()));
    for (int kind = 0; kind < static_cast<int>(CChunkDamage::EKind::Count); ++kind)
        std::fprintf(out, "%s%s %lld", kind ? ", " : "",
                     CChunkDamage::kindName(static_cast<CChunkDamage::EKind>(kind)),
                     static_cast<long long>(damageCounts[kind]));
    std::fprintf(out, ")\n");
    std::fprintf(out, "chunk checks without a steady state to compare: %lld\n",
                 static_cast<long long>(unverifiedChunks.load()));
    std::fprintf(out, "program changes: %lld\n", static_cast<long long>(programChanges.load()));
    std::fprintf(out, "bypass toggles: %lld (%lld blocks checked as bypassed)\n",
                 static_cast<long long>(bypassToggles.load()),
                 static_cast<long long>(bypassCheckedBlocks.load()));
    std::fprintf(out, "automation calls: %lld in %lld bursts\n",
                 static_cast<long long>(automationCalls.load()),
                 static_cast<long long>(automationBursts.load()));
    std::fprintf(out, "text queries: %lld\n", static_cast<long long>(textQueries.load()));
    std::fprintf(out, "memory: %.1f MB resident after a tenth of the run, %.1f MB at the end\n",
                 earlyKb / 1024.0, lateKb / 1024.0);
    std::fprintf(out, "events seen: %lld (longest %.4f s, limit %.4f s)\n",
                 static_cast<long long>(tracker.getEventCount()),
                 tracker.getLongestEventFrames() / options.rateHz,
                 tracker.getRules().maxEventFrames / options.rateHz);
    const std::vector<std::string> messages = log.getMessages();
    for (const std::string& message : messages)
        std::fprintf(out, "violation: %s\n", message.c_str());
    if (log.getViolationCount() > static_cast<int64_t>(messages.size()))
        std::fprintf(out, "(%lld more not shown)\n",
                     static_cast<long long>(log.getViolationCount() - messages.size()));
    std::fprintf(out, "violations: %lld\n", static_cast<long long>(log.getViolationCount()));
}

} // namespace kel
