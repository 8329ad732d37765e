# Compares what the shared library exports with the list in the tree.
execute_process(COMMAND "${NM}" -D --defined-only --format=posix "${LIBRARY}"
                OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" output "${output}")
string(REPLACE "\n" ";" lines "${output}")
set(exported "")
foreach(line IN LISTS lines)
    if(line MATCHES "^([^ @]+)[^ ]* A ") # the version's own name
        continue()
    endif()
    string(REGEX REPLACE "[@ ].*" "" symbol "${line}")
    list(APPEND exported "${symbol}")
endforeach()
list(SORT exported)

file(STRINGS "${EXPECTED}" expected)
list(SORT expected)
set(surplus ${exported})
list(REMOVE_ITEM surplus ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
if(surplus OR missing)
    message(FATAL_ERROR "exported but not in ${EXPECTED}: ${surplus}\nnot exported: ${missing}")
endif()
