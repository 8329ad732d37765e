# Writes files into a C++ source that defines velmora::page::pageFiles().
# cmake -DOUTPUT=FILE -DROOT=FOLDER -DFILES=a,b -P EmbedFiles.cmake; FILES are relative to ROOT.
set(source "#include \"page/PageFiles.h\"\n\nnamespace velmora::page {\n\nstd::span<const PageFile> "
           "pageFiles() {\n    static constexpr PageFile files[] = {\n")
string(REPLACE "," ";" files "${FILES}")
string(CONCAT source ${source})
foreach(name IN LISTS files)
    file(READ "${ROOT}/${name}" content)
    string(APPEND source "{\"/${name}\", R\"~~~~(${content})~~~~\"},\n")
endforeach()
string(APPEND source "    };\n    return files;\n}\n\n} // namespace velmora::page\n")
file(WRITE "${OUTPUT}" "${source}")
