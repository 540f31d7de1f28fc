# Turns the page's files into C++ string constants: cmake -DOUTPUT=... -DDIRECTORY=... -P EmbedPage.cmake

set(text "#include \"service/Api/PageFiles.hpp\"\n\nnamespace VelmorService::PageFiles {\n\n")
foreach(pair "index.html;kIndex" "style.css;kStyle" "draw.js;kDrawing" "page.js;kScript")
    list(GET pair 0 file)
    list(GET pair 1 name)
    file(READ "${DIRECTORY}/${file}" content)
    string(APPEND text "const std::string_view ${name} = R\"page~(${content})page~\";\n")
endforeach()
string(APPEND text "\n}  // namespace VelmorService::PageFiles\n")
file(WRITE "${OUTPUT}" "${text}")
