# Small helpers so that each folder's CMakeLists.txt stays a few lines long.

# corvane_add_subdirectories(): adds every child folder that has a CMakeLists.txt, in name
# order, so a new module needs no edit to its parent.
function(corvane_add_subdirectories)
    file(GLOB children LIST_DIRECTORIES true RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
         ${CMAKE_CURRENT_SOURCE_DIR}/*)
    list(SORT children)
    foreach(child IN LISTS children)
        if(IS_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/${child}
           AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${child}/CMakeLists.txt)
            add_subdirectory(${child})
        endif()
    endforeach()
endfunction()

# corvane_unit_test(NAME name SOURCES ... LIBRARIES ... [LABELS ...]): one GoogleTest
# executable registered with CTest, labelled "unit" unless LABELS says otherwise.
function(corvane_unit_test)
    cmake_parse_arguments(ARG "" "NAME" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    if(NOT ARG_LABELS)
        set(ARG_LABELS unit)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main
                                              corvane_warnings)
    gtest_discover_tests(${ARG_NAME} DISCOVERY_MODE PRE_TEST PROPERTIES LABELS "${ARG_LABELS}"
                         TIMEOUT 120)
endfunction()
