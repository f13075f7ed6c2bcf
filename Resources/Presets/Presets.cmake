# The factory bank and the routing list, compiled from their text sources by kelbank at build time
# and embedded under the names the registries and the application data look for. Included by
# Resources/CMakeLists.txt before its kel_add_resources call.
if(NOT TARGET kelbank)
    add_subdirectory(${PROJECT_SOURCE_DIR}/Tools/kelbank ${PROJECT_BINARY_DIR}/Tools/kelbank)
endif()

set(KEL_PRESET_DIR ${PROJECT_BINARY_DIR}/Resources/Presets)
file(MAKE_DIRECTORY ${KEL_PRESET_DIR})

# Source file, compiled file, resource name.
foreach(row "FactoryROM.txt;FactoryROM.cbf;FactoryROM.cbf"
            "RoutingPresets.txt;routing-presets;AppDataGlobal_routing-presets")
    list(GET row 0 source)
    list(GET row 1 compiled)
    list(GET row 2 resourceName)
    set(source ${CMAKE_CURRENT_LIST_DIR}/${source})
    set(compiled ${KEL_PRESET_DIR}/${compiled})
    add_custom_command(OUTPUT ${compiled}
        COMMAND kelbank compile ${source} ${compiled}
        DEPENDS kelbank ${source}
        COMMENT "Compiling presets ${resourceName}"
        VERBATIM)
    list(APPEND KEL_RESOURCE_ENTRIES "${resourceName}=${compiled}")
endforeach()
