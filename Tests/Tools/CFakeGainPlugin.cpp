// A tiny VST 2 plug-in built only for the host's tests: two channels in and out, output =
// input times parameter 0, a chunk that holds that parameter, and faults and callbacks that a
// test switches on through effVendorSpecific (see FakePluginCodes.h).

#include "FakePluginCodes.h"

#include "Audio/VST/VstInterface.h"

#include <cstdio>
#include <cstring>

namespace
{

class CFakeGainPlugin
{
public:
    explicit CFakeGainPlugin(VstHostCallback callback) : host(callback)
    {
        std::memset(&effect, 0, sizeof(effect));
        effect.magic = kVstEffectMagic;
        effect.dispatcher = &dispatchThunk;
        effect.setParameter = &setParameterThunk;
        effect.getParameter = &getParameterThunk;
        effect.processReplacing = &processFloatThunk;
        effect.processDoubleReplacing = &processDoubleThunk;
        effect.numPrograms = 1;
        effect.numParams = 2;
        effect.numInputs = 2;
        effect.numOutputs = 2;
        effect.flags =
            kEffectFlagCanReplacing | kEffectFlagCanDoubleReplacing | kEffectFlagProgramChunks;
        effect.object = this;
        effect.uniqueID = 0x4B464B47; // 'KFKG'
        effect.version = 1;
    }

    AEffect effect;

private:
    static CFakeGainPlugin* self(AEffect* e) { return static_cast<CFakeGainPlugin*>(e->object); }

    static intptr_t dispatchThunk(AEffect* e, int32_t opcode, int32_t index, intptr_t value,
                                  void* ptr, float opt)
    {
        CFakeGainPlugin* plugin = self(e);
        if (opcode == kEffClose)
        {
            delete plugin;
            return 1;
        }
        return plugin->dispatch(opcode, index, value, ptr, opt);
    }
    static void setParameterThunk(AEffect* e, int32_t index, float value)
    {
        if (index >= 0 && index < 2)
            self(e)->params[index] = value;
    }
    static float getParameterThunk(AEffect* e, int32_t index)
    {
        return index >= 0 && index < 2 ? self(e)->params[index] : 0.0f;
    }
    static void processFloatThunk(AEffect* e, float** in, float** out, int32_t frames)
    {
        self(e)->process(in, out, frames);
    }
    static void processDoubleThunk(AEffect* e, double** in, double** out, int32_t frames)
    {
        self(e)->process(in, out, frames);
    }

    template <typename T> void process(T** in, T** out, int32_t frames)
    {
        lastFrames = frames;
        inPlaceSeen = in[0] == out[0];
        if (const auto* info = reinterpret_cast<const VstTimeInfo*>(
                host(&effect, kHostGetTime, 0, kTimeTempoValid, nullptr, 0.0f)))
            tempoBpm = info->tempo;
        processLevel =
            static_cast<int32_t>(host(&effect, kHostGetCurrentProcessLevel, 0, 0, nullptr, 0.0f));
        for (int ch = 0; ch < 2; ++ch)
            for (int32_t i = 0; i < frames; ++i)
                out[ch][i] = in[ch][i] * static_cast<T>(params[0]);
        if (overrunWords > 0)
            for (int i = 0; i < overrunWords; ++i)
                out[0][frames + i] = T(0.25);
        if (underrun)
            out[1][-1] = T(0.5);
        if (writeInput && !inPlaceSeen)
            in[0][0] = T(1.5);
        if (skipLast && frames > 0)
        {
            // Put the host's own fill back, as if this frame had never been written.
            std::memcpy(&out[1][frames - 1], &out[0][frames], sizeof(T));
        }
    }

    intptr_t dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
    {
        switch (opcode)
        {
        case kEffOpen:
        {
            char vendor[kVstHostStringBytes] = {};
            char product[kVstHostStringBytes] = {};
            host(&effect, kHostGetVendorString, 0, 0, vendor, 0.0f);
            host(&effect, kHostGetProductString, 0, 0, product, 0.0f);
            std::snprintf(hostName, sizeof(hostName), "%s|%s", vendor, product);
            return 0;
        }
        case kEffSetSampleRate:
            sampleRate = opt;
            return 0;
        case kEffSetBlockSize:
            blockSize = static_cast<int32_t>(value);
            return 0;
        case kEffGetParamName:
            std::snprintf(static_cast<char*>(ptr), kVstParamTextBytes, "%s",
                          index == 0 ? "Gain" : "Spare");
            return 0;
        case kEffGetParamLabel:
            std::snprintf(static_cast<char*>(ptr), kVstParamTextBytes, "%s", "x");
            return 0;
        case kEffGetParamDisplay:
            std::snprintf(static_cast<char*>(ptr), kVstParamTextBytes, "%.3f",
                          index >= 0 && index < 2 ? params[index] : 0.0f);
            return 0;
        case kEffGetEffectName:
            std::snprintf(static_cast<char*>(ptr), kVstEffectNameBytes, "Fake Gain");
            return 1;
        case kEffGetVendorString:
            std::snprintf(static_cast<char*>(ptr), kVstVendorStringBytes, "Kelmont Tests");
            return 1;
        case kEffGetProgramName:
            std::snprintf(static_cast<char*>(ptr), kVstProgramNameBytes, "%s", programName);
            return 0;
        case kEffSetProgramName:
            std::snprintf(programName, sizeof(programName), "%s", static_cast<char*>(ptr));
            return 0;
        case kEffGetVstVersion:
            return kVstFormatVersion;
        case kEffGetChunk:
        {
            // The form (bank or program) is written into the chunk, so a test sees the index.
            chunk[0] = index == 1 ? 'P' : 'B';
            std::memcpy(chunk + 4, params, sizeof(params));
            *static_cast<void**>(ptr) = chunk;
            return sizeof(chunk);
        }
        case kEffSetChunk:
        {
            if (value != static_cast<intptr_t>(sizeof(chunk)) || !ptr)
                return 0;
            const auto* bytes = static_cast<const char*>(ptr);
            if (bytes[0] != (index == 1 ? 'P' : 'B'))
                return 0;
            std::memcpy(params, bytes + 4, sizeof(params));
            return 1;
        }
        case kEffSetSpeakerArrangement:
        {
            const auto* in = reinterpret_cast<const VstSpeakerArrangement*>(value);
            const auto* out = static_cast<const VstSpeakerArrangement*>(ptr);
            if (!in || !out || in->numChannels > 2 || out->numChannels > 2)
                return 0;
            inArrangement = *in;
            outArrangement = *out;
            hasArrangement = true;
            return 1;
        }
        case kEffGetSpeakerArrangement:
            if (!hasArrangement)
                return 0;
            *reinterpret_cast<VstSpeakerArrangement**>(value) = &inArrangement;
            *static_cast<VstSpeakerArrangement**>(ptr) = &outArrangement;
            return 1;
        case kEffSetProcessPrecision:
            return value == kProcessPrecision32 || value == kProcessPrecision64 ? 1 : 0;
        case kEffEditIdle:
            ++editIdles;
            return 0;
        case kEffVendorSpecific:
            return vendorSpecific(index, value, ptr, opt);
        default:
            return 0;
        }
    }

    intptr_t vendorSpecific(int32_t code, intptr_t value, void* ptr, float opt)
    {
        switch (code)
        {
        case kFakeOverrun:
            overrunWords = static_cast<int>(value);
            return 1;
        case kFakeUnderrun:
            underrun = value != 0;
            return 1;
        case kFakeWriteInput:
            writeInput = value != 0;
            return 1;
        case kFakeSkipLast:
            skipLast = value != 0;
            return 1;
        case kFakeAutomate:
            host(&effect, kHostBeginEdit, static_cast<int32_t>(value), 0, nullptr, 0.0f);
            params[value & 1] = opt;
            host(&effect, kHostAutomate, static_cast<int32_t>(value), 0, nullptr, opt);
            host(&effect, kHostEndEdit, static_cast<int32_t>(value), 0, nullptr, 0.0f);
            return 1;
        case kFakeIdle:
            return host(&effect, kHostIdle, 0, 0, nullptr, 0.0f);
        case kFakeEditIdles:
            return editIdles;
        case kFakeTempoMilli:
            return static_cast<intptr_t>(tempoBpm * 1000.0 + 0.5);
        case kFakeProcessLevel:
            return processLevel;
        case kFakeLastFrames:
            return lastFrames;
        case kFakeInPlaceSeen:
            return inPlaceSeen ? 1 : 0;
        case kFakeHostName:
            std::snprintf(static_cast<char*>(ptr), static_cast<size_t>(value), "%s", hostName);
            return 1;
        case kFakeBlockSizeQuery:
            return host(&effect, kHostGetBlockSize, 0, 0, nullptr, 0.0f);
        default:
            return 0;
        }
    }

    VstHostCallback host;
    float params[2] = {1.0f, 0.0f};
    char chunk[4 + sizeof(float) * 2] = {};
    char programName[kVstProgramNameBytes] = "Init";
    char hostName[2 * kVstHostStringBytes + 2] = {};
    float sampleRate = 44100.0f;
    int32_t blockSize = 1024;
    VstSpeakerArrangement inArrangement = {};
    VstSpeakerArrangement outArrangement = {};
    bool hasArrangement = false;
    int overrunWords = 0;
    bool underrun = false;
    bool writeInput = false;
    bool skipLast = false;
    bool inPlaceSeen = false;
    int32_t lastFrames = 0;
    int32_t processLevel = -1;
    double tempoBpm = 0.0;
    int editIdles = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(VstHostCallback host)
{
    if (!host || host(nullptr, kHostVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    return &(new CFakeGainPlugin(host))->effect;
}
