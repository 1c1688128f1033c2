# Planted defects: each of the tests that look for mistakes of their own must find one. The
# list is defects.json; scripts/planted tries all of it in a copy of the sources. Those for
# which tmc_add_planted_test() is called are also found in each run of the tests: the test's
# program is linked once more, with a planted copy of one source file in front of the libraries.
file(READ ${CMAKE_CURRENT_LIST_DIR}/defects.json TMC_DEFECTS)
set(TMC_PLANTED_FOLDER ${CMAKE_CURRENT_LIST_DIR})

# tmc_add_planted_test(NAME <defect> PROGRAM <target> COMMAND <before> ARGUMENTS <after>)
# passes when the program, run with these arguments, says what the list tells.
function(tmc_add_planted_test)
    cmake_parse_arguments(PLANTED "" "NAME;PROGRAM" "COMMAND;ARGUMENTS" ${ARGN})
    string(JSON last LENGTH "${TMC_DEFECTS}")
    math(EXPR last "${last} - 1")
    set(says)
    foreach(index RANGE ${last})
        string(JSON name GET "${TMC_DEFECTS}" ${index} name)
        if(name STREQUAL PLANTED_NAME)
            string(JSON file GET "${TMC_DEFECTS}" ${index} file)
            string(JSON says GET "${TMC_DEFECTS}" ${index} says)
            set(place ${index})
        endif()
    endforeach()
    if(NOT says)
        message(FATAL_ERROR "There is no planted defect ${PLANTED_NAME}")
    endif()
    get_filename_component(source ${file} NAME)
    set(planted ${CMAKE_CURRENT_BINARY_DIR}/planted/${PLANTED_NAME}/${source})
    add_custom_command(OUTPUT ${planted}
        COMMAND ${CMAKE_COMMAND} -D DEFECTS=${TMC_PLANTED_FOLDER}/defects.json -D PLACE=${place}
            -D TOP=${CMAKE_SOURCE_DIR} -D PLANTED=${planted} -P ${TMC_PLANTED_FOLDER}/plant.cmake
        DEPENDS ${CMAKE_SOURCE_DIR}/${file} ${TMC_PLANTED_FOLDER}/defects.json
            ${TMC_PLANTED_FOLDER}/plant.cmake
        VERBATIM)
    set(target ${PLANTED_PROGRAM}_planted_${PLANTED_NAME})
    add_executable(${target} ${planted} $<TARGET_OBJECTS:${PLANTED_PROGRAM}>)
    target_link_libraries(${target} PRIVATE
        $<TARGET_PROPERTY:${PLANTED_PROGRAM},LINK_LIBRARIES>)
    target_link_options(${target} PRIVATE $<TARGET_PROPERTY:${PLANTED_PROGRAM},LINK_OPTIONS>)
    set_target_properties(${target} PROPERTIES AUTOMOC OFF AUTOUIC OFF)
    set(name ${TMC_TEST_PREFIX}planted_${PLANTED_NAME})
    add_test(NAME ${name} COMMAND ${PLANTED_COMMAND} $<TARGET_FILE:${target}> ${PLANTED_ARGUMENTS})
    tmc_set_up_test(${name})
    set_tests_properties(${name} PROPERTIES PASS_REGULAR_EXPRESSION "${says}")
endfunction()
