# Checks of the source itself, in the Release build alone: other builds are of the same source. A
# status of 77 says that the tool for it is missing here.
function(add_check name seconds)
    add_test(NAME ${name} COMMAND ${ARGN})
    set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT ${seconds})
endfunction()

add_check(format 60 ${CMAKE_CURRENT_SOURCE_DIR}/check_format.sh)

find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
    # Adds a check by the script check_NAME.py.
    function(add_script name seconds)
        add_check(${name} ${seconds} ${Python3_EXECUTABLE}
            ${CMAKE_CURRENT_SOURCE_DIR}/check_${name}.py ${ARGN})
    endfunction()

    # Objects that are optimised at link time show their symbols only to the compiler's own nm.
    set(floors_nm ${CMAKE_NM})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        string(REGEX REPLACE "ar([^/]*)$" "nm\\1" floors_nm ${CMAKE_CXX_COMPILER_AR})
    endif()
    foreach(floor base board syzygy eval search book shell tools entry)
        list(APPEND floors $<TARGET_FILE:mird_${floor}>)
    endforeach()
    add_script(floors 60 ${floors_nm} ${floors})

    # What the pages name is in the source, and what they show is what the program prints.
    add_script(names 60)
    add_script(told 60 $<TARGET_FILE:mird>)
    add_script(shown 120 $<TARGET_FILE:mird>)
    # Tables and pictures of the page on strength are what its data give.
    add_check(plots 60 ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/Docs/plots.py --check)
    # What frameworks that test engines call.
    add_script(make 60 $<TARGET_FILE:mird>)

    # Jobs of Training/cluster in shards, without servers, by Slurm and on two hosts.
    foreach(how alone slurm hosts)
        add_check(cluster_${how} 900 ${Python3_EXECUTABLE}
            ${CMAKE_CURRENT_SOURCE_DIR}/check_cluster.py ${how} ${PROJECT_BINARY_DIR})
        set_tests_properties(cluster_${how} PROPERTIES RESOURCE_LOCK build COST 1000)
    endforeach()

    # A network made from nothing, at the smallest scale.
    add_script(recipe 600 ${PROJECT_BINARY_DIR})
    set_tests_properties(recipe PROPERTIES RESOURCE_LOCK build COST 900)

    # The program for Windows, under Wine, and two of the packages; ci/packages.sh tries all. Both
    # build in folders of their own.
    add_script(windows 900)
    set_tests_properties(windows PROPERTIES COST 1200)
    add_script(packages 900 deb linux)
    set_tests_properties(packages PROPERTIES COST 1500)

    # These take long where many files have changed, so they begin first.
    foreach(name tidy includes)
        add_script(${name} 1200 ${CMAKE_CURRENT_BINARY_DIR}/known_to_${name}.txt)
        set_tests_properties(${name} PROPERTIES COST 2000)
    endforeach()
endif()

# Each header compiles alone, without help from what a file includes before it. The loops of the
# network are no header but a body, compiled once for each width of vector.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/Source/*.h ${PROJECT_SOURCE_DIR}/Training/*.h)
list(REMOVE_ITEM headers Source/eval/nn_kernels_vector.h)
foreach(header IN LISTS headers)
    set(header_alone ${CMAKE_CURRENT_BINARY_DIR}/headers/${header}.cpp)
    file(CONFIGURE OUTPUT ${header_alone} CONTENT "#include \"${header}\"\n")
    list(APPEND headers_alone ${header_alone})
endforeach()
add_library(mird_headers OBJECT EXCLUDE_FROM_ALL ${headers_alone})
target_include_directories(mird_headers PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/Source)
target_compile_options(mird_headers PRIVATE -O0 -g0)
target_link_libraries(mird_headers PRIVATE mird_plain_code)
set_target_properties(mird_headers PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE OFF)
add_check(headers 300 ${CMAKE_COMMAND} --build ${PROJECT_BINARY_DIR} --target mird_headers)
set_tests_properties(headers PROPERTIES RESOURCE_LOCK build)
