# cmake -DPAGE=folder -DOUTPUT=file -P embed_page.cmake: writes the page's body, style and scripts as C++ constants. The
# scripts share one scope and are concatenated in the order of SCRIPTS.
set(SCRIPTS format.js local_time.js coverage.js data.js view.js address.js timeline.js stills.js pointer.js keys.js table.js tables.js panels.js calendar.js
    curves.js newer.js main.js)

file(READ "${PAGE}/page.html" body)
file(READ "${PAGE}/page.css" style)
set(script "\"use strict\";\n")
foreach(file ${SCRIPTS})
  file(READ "${PAGE}/${file}" text)
  string(APPEND script "${text}")
endforeach()
string(SHA256 style_hash "${style}")
string(SHA256 script_hash "${script}")

set(text "#include \"tools/ps/report/page_assets.h\"\n\nnamespace ps_tool {\n\n")
foreach(name body style style_hash script script_hash)
  string(SUBSTRING "${name}" 0 1 first)
  string(TOUPPER "${first}" first)
  string(SUBSTRING "${name}" 1 -1 rest)
  string(REPLACE "_hash" "Hash" rest "${rest}")
  string(APPEND text "const std::string_view k${first}${rest} = R\"page(${${name}})page\";\n")
endforeach()
string(APPEND text "\n}  // namespace ps_tool\n")
file(WRITE "${OUTPUT}" "${text}")
