# Checks that every library source includes only headers of its own layer or below, with the
# layers as docs/architecture.md tables them.
#
#   cmake -DROOT=<source folder> [-DFILES=<file;file...>] -P checkLayers.cmake
#
# FILES replaces the library's own sources (the check's own test gives it a file that breaks the
# rule). Exits with an error naming every include that breaks the rule.

if(NOT ROOT)
    message(FATAL_ERROR "checkLayers: ROOT is not set")
endif()

# The table: a row starts with "| <layer> |" and names its families in backticks in its last cell.
file(STRINGS "${ROOT}/docs/architecture.md" rows REGEX "^\\| *[0-9]+ *\\|")
foreach(row IN LISTS rows)
    string(REGEX MATCH "^\\| *([0-9]+)" ignored "${row}")
    set(layer ${CMAKE_MATCH_1})
    string(REGEX MATCH "\\|([^|]*)\\| *$" ignored "${row}")
    string(REGEX MATCHALL "`[^`]+`" names "${CMAKE_MATCH_1}")
    foreach(name IN LISTS names)
        string(REPLACE "`" "" name "${name}")
        set("layerOf_${name}" ${layer})
    endforeach()
endforeach()

# The family a file or an include belongs to: "platform" for the system layer, "detail/<stem>" for
# an internal helper, otherwise the file's stem.
function(familyOf path out)
    if(path MATCHES "(^|/)platform/")
        set(${out} platform PARENT_SCOPE)
    elseif(path MATCHES "(^|/)detail/([^/]+)\\.[a-z]+$")
        set(${out} "detail/${CMAKE_MATCH_2}" PARENT_SCOPE)
    else()
        get_filename_component(stem "${path}" NAME_WE)
        set(${out} "${stem}" PARENT_SCOPE)
    endif()
endfunction()

if(NOT FILES)
    file(GLOB_RECURSE FILES
        "${ROOT}/libs/utils/inc/*.h"
        "${ROOT}/libs/utils/src/*.h"
        "${ROOT}/libs/utils/src/*.cpp")
endif()

set(failures "")
foreach(path IN LISTS FILES)
    familyOf("${path}" family)
    if(NOT DEFINED "layerOf_${family}")
        string(APPEND failures "\n  ${path}: the family ${family} has no layer in docs/architecture.md")
        continue()
    endif()
    set(own ${layerOf_${family}})
    file(STRINGS "${path}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line IN LISTS includes)
        string(REGEX MATCH "\"([^\"]+)\"" ignored "${line}")
        set(header "${CMAKE_MATCH_1}")
        familyOf("${header}" used)
        if(NOT DEFINED "layerOf_${used}")
            string(APPEND failures "\n  ${path}: includes ${header}, whose family ${used} has no layer")
        elseif(layerOf_${used} GREATER own)
            string(APPEND failures
                "\n  ${path} (layer ${own}) includes ${header} (layer ${layerOf_${used}})")
        endif()
    endforeach()
endforeach()

if(failures)
    message(FATAL_ERROR "Includes against the layers of docs/architecture.md:${failures}")
endif()
list(LENGTH FILES count)
message(STATUS "checkLayers: ${count} files keep to their layers")
