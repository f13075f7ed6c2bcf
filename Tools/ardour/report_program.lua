-- ardour7-lua step of Tools/ardour-check.sh (mode state): reload a saved session in a fresh
-- process, report the first plug-in's parameters, and save the reloaded state as a second
-- snapshot, so that the plug-in is asked again for its chunk and its current program.
--
-- Usage: ardour7-lua report_program.lua SESSION_DIR SESSION_NAME SNAPSHOT
-- Prints on stderr: UNKNOWN_PROCESSOR (if Ardour could not restore a plug-in),
-- RELOADED_PROGRAM_PARAM <index> <value> <name>, REPORT OK.

local function say(line)
	io.stderr:write(line .. "\n")
	io.stderr:flush()
end

local dir, name, snapshot = arg[1], arg[2], arg[3]
assert(dir and name and snapshot, "usage: report_program.lua SESSION_DIR SESSION_NAME SNAPSHOT")

local s = load_session(dir, name)
assert(s, "load_session failed")
for unknown in s:unknown_processors():iter() do say("UNKNOWN_PROCESSOR " .. unknown) end

local track = s:route_by_name("Track")
assert(track and not track:isnil(), "no track named Track")
local proc = track:nth_plugin(0)
assert(not proc:isnil(), "no plug-in on the reloaded track")
local plug = proc:to_insert():plugin(0)

ARDOUR.LuaAPI.wait_for_process_callback(4, 1000)
for i = 0, plug:parameter_count() - 1 do
	local value, _ = ARDOUR.LuaAPI.get_processor_param(proc, i, true)
	say(string.format("RELOADED_PROGRAM_PARAM %d %.9g %s", i, value, plug:parameter_label(i)))
end

-- A snapshot under another name leaves the session file that was loaded as it is.
assert(s:save_state(snapshot, false, false, false, false, false) == 0, "save_state failed")
close_session()
say("REPORT OK")
quit()
