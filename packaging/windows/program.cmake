# What makes an executable a Windows program: icon, version information,
# manifest; and its debug information in a file of its own.
set(TMC_WINDOWS_DIR ${CMAKE_CURRENT_LIST_DIR})

# tmc_windows_resources(<target> <description>): the description is what Windows
# shows for the file.
function(tmc_windows_resources target description)
    set(TMC_PROGRAM ${target})
    set(TMC_DESCRIPTION ${description})
    set(TMC_ICON ${TMC_WINDOWS_DIR}/program.ico)
    set(TMC_MANIFEST ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
    configure_file(${TMC_WINDOWS_DIR}/program.manifest.in ${TMC_MANIFEST} @ONLY)
    configure_file(${TMC_WINDOWS_DIR}/program.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${target}.rc PROPERTIES
        OBJECT_DEPENDS "${TMC_ICON};${TMC_MANIFEST}")
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    # The newer format of compiled resources carries the files' dates.
    set_target_properties(${target} PROPERTIES AUTORCC_OPTIONS "--format-version;1")
    # These tools put the time into the file's header, unless they are told one.
    set(undated ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=1577836800)
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${undated} ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}>
            $<TARGET_FILE:${target}>.debug
        COMMAND ${undated} ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${target}>
        COMMAND ${undated} ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
            $<TARGET_FILE:${target}>)
endfunction()
