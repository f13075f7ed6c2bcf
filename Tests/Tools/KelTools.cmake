# The tree compiler and kelres in kel_tool_tests, with a small embedded table of their own built
# the way the product's is (kelc, kelembed, kel_add_resources), and the two programs run by CTest.
set(KEL_TOOL_DATA ${CMAKE_CURRENT_SOURCE_DIR}/KelData)
kel_add_resources(TARGET kel_test_resources NAMESPACE kel::testres
    INCLUDE_DIRS ${KEL_TOOL_DATA}/Lib
    ENTRIES "SharedData.xml=${KEL_TOOL_DATA}/SharedData.xml"
            "../../../Gfx/Palettes/Test.pal=${KEL_TOOL_DATA}/Test.pal")
target_link_libraries(kel_tool_tests PRIVATE kel_treeview kel_test_resources)
target_compile_definitions(kel_tool_tests PRIVATE KEL_TOOL_DATA="${KEL_TOOL_DATA}")

add_test(NAME Kelc.ReportsFileAndLine
    COMMAND kelc -o ${CMAKE_CURRENT_BINARY_DIR}/broken.bin ${KEL_TOOL_DATA}/Broken.xml)
set_tests_properties(Kelc.ReportsFileAndLine PROPERTIES LABELS tools TIMEOUT 60
    PASS_REGULAR_EXPRESSION "Broken\\.xml:2: template 't' must have exactly one body element")
add_test(NAME Kelres.PrintsACompiledTree
    COMMAND kelres print ${CMAKE_CURRENT_BINARY_DIR}/kel_test_resources_resources/tree0.bin)
set_tests_properties(Kelres.PrintsACompiledTree PROPERTIES LABELS tools TIMEOUT 60
    PASS_REGULAR_EXPRESSION "\n  template \\[plugin\\] of core:object\n    core:object app-version=")
add_test(NAME Kelres.ListsTheBuiltInTable COMMAND kelres list --builtin)
set_tests_properties(Kelres.ListsTheBuiltInTable PROPERTIES LABELS tools TIMEOUT 60
    PASS_REGULAR_EXPRESSION "[0-9]+ resources, [0-9]+ bytes")
