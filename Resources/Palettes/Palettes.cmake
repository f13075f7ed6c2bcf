# The five colour schemes, compiled from their text sources by kelpal at build time and embedded
# under the names the palette objects' "file" attributes use. Included by Resources/CMakeLists.txt
# before its kel_add_resources call, so that the compiled files are known to it.
#
#   kel_palettes           the list of every stored colour name (for the tests)
#   kel_palette_swatches   a PNG per scheme in <build>/Resources/Palettes, for people to judge
if(NOT TARGET kelpal)
    add_subdirectory(${PROJECT_SOURCE_DIR}/Tools/kelpal ${PROJECT_BINARY_DIR}/Tools/kelpal)
endif()

set(KEL_PALETTE_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR})
set(KEL_PALETTE_DIR ${PROJECT_BINARY_DIR}/Resources/Palettes)
set(KEL_PALETTE_ROLES ${KEL_PALETTE_SOURCE_DIR}/Roles.txt)
file(MAKE_DIRECTORY ${KEL_PALETTE_DIR})

set(swatches)
foreach(scheme Default Military Red Blue Green)
    set(source ${KEL_PALETTE_SOURCE_DIR}/${scheme}.pal.txt)
    set(compiled ${KEL_PALETTE_DIR}/${scheme}.pal)
    add_custom_command(OUTPUT ${compiled}
        COMMAND kelpal compile ${KEL_PALETTE_ROLES} ${source} ${compiled}
        DEPENDS kelpal ${KEL_PALETTE_ROLES} ${source}
        COMMENT "Compiling palette ${scheme}"
        VERBATIM)
    list(APPEND KEL_RESOURCE_ENTRIES "../../../Gfx/Palettes/${scheme}.pal=${compiled}")
    # The swatch compiles its own copy, so that this target never races the embedding one.
    set(swatch ${KEL_PALETTE_DIR}/${scheme}.png)
    add_custom_command(OUTPUT ${swatch}
        COMMAND kelpal compile ${KEL_PALETTE_ROLES} ${source} ${swatch}.pal
        COMMAND kelpal --swatch ${swatch} ${swatch}.pal
        BYPRODUCTS ${swatch}.pal
        DEPENDS kelpal ${KEL_PALETTE_ROLES} ${source}
        COMMENT "Drawing the swatch of palette ${scheme}"
        VERBATIM)
    list(APPEND swatches ${swatch})
endforeach()

add_custom_command(OUTPUT ${KEL_PALETTE_DIR}/names.txt
    COMMAND kelpal names ${KEL_PALETTE_ROLES} ${KEL_PALETTE_DIR}/names.txt
    DEPENDS kelpal ${KEL_PALETTE_ROLES}
    COMMENT "Listing the palette names"
    VERBATIM)
add_custom_target(kel_palettes ALL DEPENDS ${KEL_PALETTE_DIR}/names.txt)
add_custom_target(kel_palette_swatches DEPENDS ${swatches})
