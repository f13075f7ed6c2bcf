#include "Audio/CAudioExtParam.h"

#include "Audio/CAudioExtParamHostBridge.h"
#include "Audio/CAudioParamGesture.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

namespace
{
// What the host sees of a parameter that has no converter to map it (not bound yet).
constexpr double kUnboundNorm = 0.5;

const CAudioParamConverter* converterOf(const CAudioParamInfo& info)
{
    // The host's 0..1 is always that of the first element's converter, whichever element the
    // host parameter stands on.
    return info.isValid() ? info.getConverter(0) : nullptr;
}
} // namespace

void CAudioExtParam::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioExtParam::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(findObjectByAttr(CString("param-collector"), collector));
    extName = getAttrString(CString("ext-name"), CString());
    if (extName.isEmpty() || extName.getLength() > kMaxNameLength)
        return KEL_ERROR("@kelstr_CAudioExtParam_attrExtName_LongName Externalized parameter name "
                         "'%1' is too long",
                         extName);
    elementIndex = getAttrInt(CString("element-index"), 0);
    group = getAttrInt(CString("group"), 0);
    paramName = getAttrString(CString("param-name"));
    if (paramName.isEmpty())
        return KEL_ERROR("@kelstr_CAudioExtParam_init_NoParamName Externalized parameter '%1' "
                         "names no parameter.",
                         extName);
    // The definition may come later (the graph binds it): the parameter exists unbound till then
    // and the first change of its binding brings the cached value up to date.
    param = collector->getParam(paramName);
    if (!param)
        return KEL_ERROR("@kelstr_CAudioExtParam_init_NoParam Parameter '%1' could not be made.",
                         paramName);

    // Listening starts with one change per group; as our own origin they are not taken for news.
    CAudioParamContext context(this);
    CAudioParam::CGuard guard(*param, &context);
    param->addListener(this, context, &guard);
    sentNorm = readNormalised(guard);
    return nullptr;
}

void CAudioExtParam::detachLinks()
{
    CObject::detachLinks();
    if (param)
        param->removeListener(this);
    param = nullptr;
    collector = nullptr;
    bridge.store(nullptr);
}

void CAudioExtParam::attachHost(CAudioExtParamHostBridge* hostBridge, int index)
{
    hostIndex.store(index, std::memory_order_relaxed);
    bridge.store(hostBridge);
}

double CAudioExtParam::readNormalised(const CAudioParam::CGuard& held) const
{
    const CAudioParamInfo& info = param->getInfo(held);
    const CAudioParamConverter* converter = converterOf(info);
    if (!converter)
        return kUnboundNorm;
    return converter->toNormalised(info, 0, param->getValue(group, elementIndex, &held));
}

double CAudioExtParam::getValue() const
{
    if (!param)
        return kUnboundNorm;
    CAudioParam::CGuard guard(*param);
    return readNormalised(guard);
}

void CAudioExtParam::setValue(double valueNorm)
{
    if (!param)
        return;
    valueNorm = valueNorm < 0.0 ? 0.0 : (valueNorm > 1.0 ? 1.0 : valueNorm);
    // The context outlives the guard: what the setter's other listeners queue for the host runs
    // once the lock is left.
    CAudioParamContext context(this);
    CAudioParam::CGuard guard(*param, &context);
    const CAudioParamInfo& info = param->getInfo(guard);
    const CAudioParamConverter* converter = converterOf(info);
    if (!converter)
        return;
    // Hosts speak in floats: a value that reads back as the float the host has is the value
    // stored, not a change (a flat automation lane resends it before every block).
    if (static_cast<float>(valueNorm) == static_cast<float>(readNormalised(guard)))
        return;
    const double value = converter->toValue(info, 0, valueNorm);
    // The host knows this value already: the change's echo must not go back to it.
    sentNorm = valueNorm;
    param->setValue(group, elementIndex, value, context, &guard);
}

CString CAudioExtParam::getLabel() const
{
    if (!param)
        return CString();
    CAudioParam::CGuard guard(*param);
    const CAudioParamConverter* converter = converterOf(param->getInfo(guard));
    return converter ? converter->getLabel() : CString();
}

CString CAudioExtParam::getDisplay() const
{
    CString out;
    if (param)
        param->getValueText(out, group, elementIndex, 0, CAudioParamConverter::kFormatNormal);
    return out;
}

CString CAudioExtParam::formatValue(double valueNorm) const
{
    CString out;
    if (!param)
        return out;
    CAudioParam::CGuard guard(*param);
    const CAudioParamInfo& info = param->getInfo(guard);
    if (const CAudioParamConverter* converter = converterOf(info))
        converter->format(out, info, 0, converter->toValue(info, 0, valueNorm), group,
                          CAudioParamConverter::kFormatNormal);
    return out;
}

void CAudioExtParam::onParamChange(CAudioParam& /*changed*/, const CAudioParamChange& change,
                                   CAudioParamContext& context, const CAudioParam::CGuard& held)
{
    if (context.origin == this)
        return;
    // A new definition may move every value; any other change must touch our item.
    if (change.group != CAudioParamChange::kDefinitionGroup)
    {
        if (change.group != group || elementIndex < change.firstItem)
            return;
        if (!change.isReplacing && elementIndex >= change.firstItem + change.itemCount)
            return;
    }
    const double valueNorm = readNormalised(held);
    if (valueNorm == sentNorm)
        return;
    sentNorm = valueNorm;
    CAudioExtParamHostBridge* hostBridge = bridge.load();
    const int index = hostIndex.load(std::memory_order_relaxed);
    if (!hostBridge)
        return;
    // The opening goes first in the deferred list, so that the host hears it before the value.
    if (context.gesture && index >= 0 && context.gesture->join(hostBridge, index))
        context.addDeferred(&gestureOpening, 1.0);
    context.addDeferred(this, valueNorm);
}

void CAudioExtParam::CGestureOpening::onDeferredValue(double /*value*/)
{
    CAudioExtParamHostBridge* hostBridge = owner.bridge.load();
    const int index = owner.hostIndex.load(std::memory_order_relaxed);
    if (hostBridge && index >= 0)
        hostBridge->onExtParamGesture(index, true);
}

void CAudioExtParam::onDeferredValue(double value)
{
    CAudioExtParamHostBridge* hostBridge = bridge.load();
    const int index = hostIndex.load(std::memory_order_relaxed);
    if (hostBridge && index >= 0)
        hostBridge->onExtParamChange(index, value);
}

} // namespace kel
