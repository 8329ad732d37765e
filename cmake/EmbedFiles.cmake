# Writes the files of a folder into a C++ source that defines velmora::page::pageFiles(), and what it
# depends on into OUTPUT.d: the files, and the folders, whose times change with a new one.
# cmake -DOUTPUT=FILE -DROOT=FOLDER -P EmbedFiles.cmake
set(source "#include \"page/PageFiles.h\"\n\nnamespace velmora::page {\n\nstd::span<const PageFile> "
           "pageFiles() {\n    static constexpr PageFile files[] = {\n")
file(GLOB_RECURSE files LIST_DIRECTORIES true RELATIVE "${ROOT}" "${ROOT}/*")
set(dependencies "${ROOT}")
string(CONCAT source ${source})
foreach(name IN LISTS files)
    list(APPEND dependencies "${ROOT}/${name}")
    if(IS_DIRECTORY "${ROOT}/${name}")
        continue()
    endif()
    file(READ "${ROOT}/${name}" content)
    string(APPEND source "{\"/${name}\", R\"~~~~(${content})~~~~\"},\n")
endforeach()
string(APPEND source "    };\n    return files;\n}\n\n} // namespace velmora::page\n")
file(WRITE "${OUTPUT}" "${source}")
string(REPLACE " " "\\ " dependencies "${dependencies}")
list(JOIN dependencies " " dependencies)
string(REPLACE " " "\\ " target "${OUTPUT}")
file(WRITE "${OUTPUT}.d" "${target}: ${dependencies}\n")
