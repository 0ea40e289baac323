# Writes PageFiles.cpp: the files of FOLDER, as they stand, in OUTPUT. Run as cmake -D FOLDER=... -D OUTPUT=... -P this.

set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

file(GLOB names RELATIVE ${FOLDER} ${FOLDER}/*)
set(entries "")
foreach(name ${names})
  string(REGEX REPLACE ".*\\." "" suffix ${name})
  set(path "/page/${name}")
  if(name STREQUAL "index.html")
    set(path "/")
  elseif(name STREQUAL "icon.svg")
    set(path "/favicon.ico")  # what a browser asks for unasked
  endif()
  file(READ ${FOLDER}/${name} text)
  string(APPEND entries "    {\"${path}\", \"${type_${suffix}}\", R\"page(${text})page\"},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"PageFiles.h\"

namespace zul::collector {

namespace {

constexpr PageFile kFiles[] = {
${entries}};

}  // namespace

const PageFile* pageFile(std::string_view path) {
  for (const auto& file : kFiles) {
    if (file.path == path) return &file;
  }
  return nullptr;
}

}  // namespace zul::collector
")
