# tmc_add_console_program(<name> <windowed>): a program for the command line that
# runs the windowed program beside it.
function(tmc_add_console_program name windowed)
    add_executable(${name} ${CMAKE_SOURCE_DIR}/platform/windows/programs/consolerelay.cpp)
    target_compile_definitions(${name} PRIVATE WINDOWED_PROGRAM=L"${windowed}.exe" UNICODE)
    target_compile_options(${name} PRIVATE -Os)
endfunction()
