#include "Audio/CAudioParamDef.h"

namespace kel
{

CError* CAudioParamDef::init()
{
    KEL_CHECK(CObject::init());

    const int32_t elementSize = getAttrInt("element-size");
    if (elementSize < 1)
        return KEL_ERROR("@kelstr_CAudioParamDef_init_InvalidElementSize Invalid element size %1 "
                         "specified.",
                         getAttrString("element-size"));
    const CString dataType = getAttrString("data-type");
    const bool isString = dataType == "string" || dataType == "str" || dataType == "1";
    if (isString && elementSize > 1)
        return KEL_ERROR("@kelstr_CAudioParamDef_init_ElementSizeStr Invalid element size %1 for "
                         "non-float data specified.",
                         getAttrString("element-size"));
    info.setLayout(elementSize,
                   isString ? CAudioParamInfo::kTypeString : CAudioParamInfo::kTypeReal);

    // A value that lives in the host's project is not also a preset value, and a value of
    // either kind is the whole instance's: the tree's word is not read where it cannot apply.
    const bool isPersistent = getAttrBool("is-persistent");
    const bool isStorable = isPersistent ? false : getAttrBool("is-storable");
    const bool isGlobal = (isPersistent || isStorable) ? true : getAttrBool("is-global");
    const bool isDiscrete = getAttrBool("is-discrete");
    const bool isSingleGroup = getAttrBool("is-single-group");
    info.setFlags(isGlobal, isStorable, isPersistent, isDiscrete, isSingleGroup);
    info.setVisualName(getAttrString("visual-name"));
    info.setLeafName(getName());
    info.setRegistryName(getAttrString("param-registry"));

    info.getConverterNames().clear();
    CAudioParamInfo::splitOnBlanks(getAttrString("converter"), info.getConverterNames());
    KEL_CHECK(info.parseConverterNames(*this));
    KEL_CHECK(info.convertMinMaxValues(getAttrString("min-values"), getAttrString("max-values")));
    KEL_CHECK(info.parseDefValues(getAttrString("def-values")));
    // A string parameter may start with no value (an empty instance name); a real one may not.
    if (info.getDefaults().getGroupCount() == 0 && !info.isString())
        return KEL_ERROR("@kelstr_CAudioParamDef_init_NoDefValues No default values specified.");
    return nullptr;
}

} // namespace kel
