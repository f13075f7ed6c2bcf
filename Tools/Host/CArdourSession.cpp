#include "CArdourSession.h"

#include "CHostedPlugin.h"

namespace kel
{

void CArdourSession::insert(CHostedPlugin& plugin, double rateHz, bool resume)
{
    plugin.open();
    plugin.getVstVersion();
    plugin.setSampleRate(rateHz);
    plugin.setBlockSize(1024);
    for (int index = 0; index < plugin.getNumParams(); ++index)
    {
        plugin.canBeAutomated(index);
        VstParameterProperties properties;
        plugin.getParameterProperties(index, properties);
        plugin.getParameterName(index);
    }
    plugin.canDo("bypass");
    if (resume)
        plugin.setActive(true);
}

void CArdourSession::beginBounce(CHostedPlugin& plugin)
{
    plugin.setActive(false);
    plugin.setBlockSize(8192);
    plugin.setActive(true);
}

CArdourSession::CSavedState CArdourSession::save(CHostedPlugin& plugin)
{
    CSavedState state;
    state.chunk = plugin.getChunk(false);
    state.program = plugin.getProgram();
    for (int index = 0; index < plugin.getNumParams(); ++index)
        state.params.push_back(plugin.getParameter(index));
    return state;
}

intptr_t CArdourSession::restore(CHostedPlugin& plugin, double rateHz, const CSavedState& state)
{
    insert(plugin, rateHz, false);
    for (int index = 0; index < plugin.getNumParams(); ++index)
        if (index < static_cast<int>(state.params.size()) &&
            plugin.getParameter(index) != state.params[index])
            plugin.setParameter(index, state.params[index]);
    plugin.setActive(true);
    plugin.setProgram(state.program);
    const intptr_t answer =
        state.chunk.empty() ? 0 : plugin.setChunk(state.chunk.data(), state.chunk.size(), false);
    // Ardour resumes a second time without suspending in between.
    plugin.setActive(true);
    return answer;
}

} // namespace kel
