# Included by Resources/CMakeLists.txt before kel_add_resources. The interface graphics are drawn
# in code (Tools/kelimg: cairo for the image sets, FreeType over DejaVu for the fonts, the brush
# dots computed); kelimg compiles them at build time and they are appended to
# KEL_RESOURCE_ENTRIES under the names the trees' file attributes use.
if(NOT TARGET kelimg)
    add_subdirectory(${PROJECT_SOURCE_DIR}/Tools/kelimg ${PROJECT_BINARY_DIR}/Tools/kelimg)
endif()

set(kelGfxDir ${CMAKE_CURRENT_BINARY_DIR}/Gfx)
set(kelGfxPrefix "../../../Gfx")
set(kelImgSources ${PROJECT_SOURCE_DIR}/Tools/kelimg)

set(kelFontNames base base_b micro micro_b micro-sm micro-sm_b small small_b title title_b)
set(kelImageSetNames button buttonab checkbox close csurface editbox frame groupcaption history
    instancename knob listoutline palicon popup popup2 ruler scroller statusbar texture kelmont)

set(kelFontFiles)
foreach(name ${kelFontNames})
    list(APPEND kelFontFiles ${kelGfxDir}/Fonts/${name}.fnt)
    list(APPEND KEL_RESOURCE_ENTRIES "${kelGfxPrefix}/Fonts/${name}.fnt=${kelGfxDir}/Fonts/${name}.fnt")
endforeach()
set(kelImageSetFiles)
foreach(name ${kelImageSetNames})
    list(APPEND kelImageSetFiles ${kelGfxDir}/Imagesets/${name}.is)
    list(APPEND KEL_RESOURCE_ENTRIES
        "${kelGfxPrefix}/Imagesets/${name}.is=${kelGfxDir}/Imagesets/${name}.is")
endforeach()
list(APPEND KEL_RESOURCE_ENTRIES "${kelGfxPrefix}/Brushes/brushes.bs=${kelGfxDir}/Brushes/brushes.bs")

add_custom_command(OUTPUT ${kelFontFiles}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${kelGfxDir}/Fonts
    COMMAND kelimg --fonts ${kelGfxDir}/Fonts
    DEPENDS kelimg
    COMMENT "Rendering the fonts"
    VERBATIM)
add_custom_command(OUTPUT ${kelImageSetFiles}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${kelGfxDir}/Imagesets
    COMMAND kelimg --imagesets ${kelGfxDir}/Imagesets
    DEPENDS kelimg
    COMMENT "Drawing the image sets"
    VERBATIM)
add_custom_command(OUTPUT ${kelGfxDir}/Brushes/brushes.bs
    COMMAND ${CMAKE_COMMAND} -E make_directory ${kelGfxDir}/Brushes
    COMMAND kelimg --brushes ${kelGfxDir}/Brushes/brushes.bs
    DEPENDS kelimg
    COMMENT "Rendering the brushes"
    VERBATIM)
