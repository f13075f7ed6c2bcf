-- ardour7-lua step of Tools/ardour-check.sh (mode state): load a saved session, choose one of the
-- plug-in's own programs on the first plug-in of the track "Track" through Ardour's preset
-- interface, and save.
--
-- Usage: ardour7-lua choose_program.lua SESSION_DIR SESSION_NAME PROGRAM
-- Prints on stderr (Ardour's own print is buffered and lost if the process dies):
--   PROGRAM_NAME <index> <label>      every program the plug-in offers, as Ardour lists it
--   DEFAULT_PARAM <index> <value>     of a fresh instance, which is not kept in the session
--   PROGRAM_PARAM <index> <value>     after choosing PROGRAM
--   CHOSEN <uri> <label>              Ardour's record of the last program loaded
--   CHOOSE OK

local function say(line)
	io.stderr:write(line .. "\n")
	io.stderr:flush()
end

local dir, name, program = arg[1], arg[2], tonumber(arg[3])
assert(dir and name and program, "usage: choose_program.lua SESSION_DIR SESSION_NAME PROGRAM")

local s = load_session(dir, name)
assert(s, "load_session failed")
local track = s:route_by_name("Track")
assert(track and not track:isnil(), "no track named Track")
local proc = track:nth_plugin(0)
assert(not proc:isnil(), "no plug-in on the track")
local plug = proc:to_insert():plugin(0)

-- Ardour names a VST's own programs "VST:<unique id>:<four-digit index>".
local function program_uri(index)
	return string.format("VST:%s:%04d", plug:unique_id(), index)
end

for index = 0, 127 do
	local rec = plug:preset_by_uri(program_uri(index))
	if not rec or not rec.valid then break end
	say(string.format("PROGRAM_NAME %d %s", index, rec.label))
end

local function report(insert, prefix)
	for i = 0, plug:parameter_count() - 1 do
		local value, _ = ARDOUR.LuaAPI.get_processor_param(insert, i, true)
		say(string.format("%s %d %.9g", prefix, i, value))
	end
end

-- The session's instance has been edited, so the defaults come from a second instance that is
-- never added to a route and goes with the script.
local fresh = ARDOUR.LuaAPI.new_plugin(s, plug:unique_id(), ARDOUR.PluginType.LXVST, "")
assert(fresh and not fresh:isnil(), "could not make a second instance")
report(fresh, "DEFAULT_PARAM")
fresh = nil

local rec = plug:preset_by_uri(program_uri(program))
assert(rec and rec.valid, "the plug-in has no program " .. program)
assert(plug:load_preset(rec), "Ardour could not load program " .. program)
-- The values that the program brings are read once the process thread has run a few cycles.
ARDOUR.LuaAPI.wait_for_process_callback(4, 1000)
report(proc, "PROGRAM_PARAM")
local last = plug:last_preset()
say(string.format("CHOSEN %s %s", last.uri, last.label))

assert(s:save_state("", false, false, false, false, false) == 0, "save_state failed")
close_session()
say("CHOOSE OK")
quit()
