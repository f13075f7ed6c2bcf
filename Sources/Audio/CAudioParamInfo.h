#pragma once

#include "Audio/CAudioParamStorage.h"
#include "Core/CArray.h"
#include "Core/CError.h"
#include "Core/CString.h"

#include <cstdint>

namespace kel
{

class CAudioParamConverter;
class CInputStream;
class CObject;
class COutputStream;

// What a parameter definition says: layout (element size, real or string), flags, names, one
// converter per element, per-element limits and the parsed default values. Filled by
// CAudioParamDef::init through the three parsing steps below; copied by value into every
// parameter bound to the definition (names, converter list, defaults and string table are
// copied; the converters themselves are shared, immutable tree objects). The saved form (save,
// load) carries an info to the interface side, which rebuilds one that formats, parses and maps
// exactly as the audio side does.
// [any thread once filled; filled on the shared tree's thread]
class CAudioParamInfo
{
public:
    static constexpr int32_t kTypeReal = CAudioParamStorage::kTypeReal;
    static constexpr int32_t kTypeString = CAudioParamStorage::kTypeString;
    // Limits of a string parameter: any id fits.
    static constexpr double kStringIdMax = 8388608.0;
    // Largest element size a saved form may carry.
    static constexpr int32_t kMaxElementSize = 256;

    CAudioParamInfo() = default;

    // ---- the three parsing steps; each answers a reported error or null ----

    // Resolves converterNames into converters: "/path" is an absolute path in the shared tree,
    // any other name one of "audio.paramcvt.". Looked up from `from` (its shared tree, or its own
    // root while no shared tree is installed). Needs the element size.
    [[nodiscard]] CError* parseConverterNames(const CObject& from);
    // Per-element limits in the converters' text form, blank-separated.
    [[nodiscard]] CError* convertMinMaxValues(const CString& minText, const CString& maxText);
    // Default values: '*' next element, ',' next item, ';' next group. An empty piece ends the
    // scan. Leaves no value at all for an empty text.
    [[nodiscard]] CError* parseDefValues(const CString& text);

    // ---- saved form ----

    // Flags, element size, data type, the visual, leaf and registry names, converter names,
    // per-element minimum and maximum, and the default groups in their stored form. Integers are
    // int32, reals doubles, lists a count and their items. The layout word stays behind.
    [[nodiscard]] CError* save(COutputStream& stream) const;
    // Reads a saved form, resolving the converter names from `from` as parseConverterNames does.
    // Counts are checked against the bytes the stream has left (when it can tell) before anything
    // is sized by them. On any error this info is left as it was; the stream's position is then
    // undefined. [any thread; the caller owns this info]
    [[nodiscard]] CError* load(CInputStream& stream, const CObject& from);

    // Splits text on blanks, skipping empty pieces, appending to out.
    static void splitOnBlanks(const CString& text, CArray<CString>& out);

    // ---- read access ----

    bool isValid() const { return valid; }
    int32_t getElementSize() const { return elementSize; }
    int32_t getDataType() const { return dataType; }
    bool isString() const { return dataType == kTypeString; }
    int32_t getLayoutWord() const { return layoutWord; }
    bool isGlobal() const { return global; }
    bool isStorable() const { return storable; }
    bool isPersistent() const { return persistent; }
    bool isDiscrete() const { return discrete; }
    bool isSingleGroup() const { return singleGroup; }
    const CString& getVisualName() const { return visualName; }
    const CString& getLeafName() const { return leafName; }
    const CString& getRegistryName() const { return registryName; }
    const CArray<CString>& getConverterNames() const { return converterNames; }
    // Converter of element n; null beyond the resolved ones.
    CAudioParamConverter* getConverter(int element) const;
    // Limits of element n; 0 and 1 beyond the element size.
    double getMin(int element) const;
    double getMax(int element) const;
    // The parsed defaults, per group; for a string parameter with their string table.
    const CAudioParamStorage& getDefaults() const { return defaults; }
    // The string table of the defaults (what the text converter prints from).
    const CAudioParamData& getStrings() const { return defaults.getStrings(); }

    // ---- filling (the definition's init, tests) ----

    void setValid(bool value) { valid = value; }
    // Also resets the defaults to the new layout.
    void setLayout(int32_t size, int32_t type);
    void setLayoutWord(int32_t value) { layoutWord = value; }
    void setFlags(bool isGlobalFlag, bool isStorableFlag, bool isPersistentFlag,
                  bool isDiscreteFlag, bool isSingleGroupFlag);
    void setVisualName(const CString& text) { visualName = text; }
    void setLeafName(const CString& text) { leafName = text; }
    void setRegistryName(const CString& text) { registryName = text; }
    CArray<CString>& getConverterNames() { return converterNames; }
    // Sets converter and limits of one element directly (no text, no tree).
    void setElement(int element, CAudioParamConverter* converter, double minValue, double maxValue);
    CAudioParamStorage& getDefaults() { return defaults; }

private:
    [[nodiscard]] CError* parseLimits(const CString& text, bool isMax);
    // load's work, into a fresh info.
    [[nodiscard]] CError* loadFields(CInputStream& stream, const CObject& from);

    bool valid = false;
    int32_t elementSize = 1;
    int32_t dataType = kTypeReal;
    // Per-instance layout word: copied with the info, used by the process graph if at all.
    int32_t layoutWord = 0;
    bool global = false;
    bool storable = false;
    bool persistent = false;
    bool discrete = false;
    bool singleGroup = false;
    CString visualName;
    CString leafName;
    CString registryName;
    CArray<CString> converterNames;
    CArray<CAudioParamConverter*> converters;
    CArray<double> maxValues;
    CArray<double> minValues;
    CAudioParamStorage defaults;
};

} // namespace kel
