# Embedded resources: kel_add_resources makes a static library that holds files as blobs and the
# table naming them, for kel::CResourceTable::install.
#
#   kel_add_resources(TARGET <library> NAMESPACE <c++ namespace>
#                     [HEADER <file name>]          # default <library>.h
#                     [INCLUDE_DIRS <dir>...]       # searched by kelc for includes
#                     ENTRIES "<resource name>=<file>"...)
#
# A file ending in ".xml" is an object tree source: kelc compiles it first (an edit of any file
# it includes rebuilds it). Any other file is embedded as it is. A relative file is taken from
# the calling folder. The resource name is kept exactly as written ("../../../Gfx/Fonts/base.fnt").
# The library's generated header declares the table:
#
#   namespace <NAMESPACE> { extern const ::kel::CResourceEntry kResourceTable[]; }
#
# With no entries the table is empty. Nothing generated lands in the source tree.
function(kel_add_resources)
    cmake_parse_arguments(ARG "" "TARGET;NAMESPACE;HEADER" "INCLUDE_DIRS;ENTRIES" ${ARGN})
    if(NOT ARG_TARGET OR NOT ARG_NAMESPACE)
        message(FATAL_ERROR "kel_add_resources: TARGET and NAMESPACE are required")
    endif()
    if(NOT ARG_HEADER)
        set(ARG_HEADER ${ARG_TARGET}.h)
    endif()
    set(outDir ${CMAKE_CURRENT_BINARY_DIR}/${ARG_TARGET}_resources)
    file(MAKE_DIRECTORY ${outDir})
    set(includeArgs)
    foreach(dir ${ARG_INCLUDE_DIRS})
        get_filename_component(dir ${dir} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
        list(APPEND includeArgs -I ${dir})
    endforeach()

    set(embedArgs)
    set(embedDeps)
    set(index 0)
    foreach(entry ${ARG_ENTRIES})
        string(FIND "${entry}" "=" at)
        if(at LESS 1)
            message(FATAL_ERROR "kel_add_resources: '${entry}' is not <resource name>=<file>")
        endif()
        string(SUBSTRING "${entry}" 0 ${at} name)
        math(EXPR at "${at} + 1")
        string(SUBSTRING "${entry}" ${at} -1 file)
        get_filename_component(file ${file} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
        if(file MATCHES "\\.xml$")
            # Numbered outputs: resource names are no safe file names.
            set(tree ${outDir}/tree${index}.bin)
            add_custom_command(OUTPUT ${tree}
                COMMAND kelc ${includeArgs} -o ${tree} --depfile ${tree}.d ${file}
                DEPENDS kelc ${file}
                DEPFILE ${tree}.d
                COMMENT "Compiling object tree ${name}"
                VERBATIM)
            set(file ${tree})
        endif()
        list(APPEND embedArgs "${name}=${file}")
        list(APPEND embedDeps ${file})
        math(EXPR index "${index} + 1")
    endforeach()

    set(source ${outDir}/${ARG_TARGET}.cpp)
    add_custom_command(OUTPUT ${source}
        COMMAND kelembed -o ${source} --namespace ${ARG_NAMESPACE} ${embedArgs}
        DEPENDS kelembed ${embedDeps}
        COMMENT "Embedding the resources of ${ARG_TARGET}"
        VERBATIM)
    file(CONFIGURE OUTPUT ${outDir}/include/${ARG_HEADER} CONTENT
"#pragma once
// Made by kel_add_resources (cmake/KelResources.cmake) for ${ARG_TARGET}.
#include \"Core/CResourceTable.h\"

namespace ${ARG_NAMESPACE}
{
// Install at start: kel::CResourceTable::install(${ARG_NAMESPACE}::kResourceTable);
extern const ::kel::CResourceEntry kResourceTable[];
} // namespace ${ARG_NAMESPACE}
")
    add_library(${ARG_TARGET} STATIC ${source})
    target_include_directories(${ARG_TARGET} PUBLIC ${outDir}/include)
    target_link_libraries(${ARG_TARGET} PUBLIC kel_core)
endfunction()
