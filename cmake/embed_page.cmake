# Puts a page together and writes it as a C++ source, in two parts with the place for the data between
# them. Run as a script: cmake -DPAGE=page.html -DSTYLES=a.css,b.css -DSCRIPTS=a.js,b.js
#   -DLICENSES=file,... -DOUTPUT=parts.cpp -P embed_page.cmake
#
# In the page @STYLES@ and @SCRIPTS@ become one element for each file, and @POLICY@ a content security
# policy that lets exactly these run: each is named by its hash. The licenses stand in the page as a
# comment.

cmake_minimum_required(VERSION 3.25)

# hash_source(VARIABLE TEXT): 'sha256-…', the digest in base64, as a policy names a script or a style.
function(hash_source variable text)
  set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 hex "${text}")
  string(APPEND hex 00)  # 32 bytes lack one to the last group of three
  set(base64 "")
  foreach(start RANGE 0 60 6)
    string(SUBSTRING ${hex} ${start} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR index "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING ${digits} ${index} 1 digit)
      string(APPEND base64 ${digit})
    endforeach()
  endforeach()
  string(REGEX REPLACE ".$" "=" base64 ${base64})  # the digit of the byte that was added
  set(${variable} "'sha256-${base64}'" PARENT_SCOPE)
endfunction()

# embed(ELEMENTS SOURCES TAG FILES): the files as elements, and the sources that allow them.
function(embed elements sources tag files)
  string(REPLACE "," ";" files "${files}")
  set(all "")
  set(allowed "")
  foreach(file IN LISTS files)
    file(READ ${file} text)
    hash_source(source "${text}")
    string(APPEND allowed " ${source}")
    string(APPEND all "<${tag}>${text}</${tag}>\n")
  endforeach()
  set(${elements} "${all}" PARENT_SCOPE)
  set(${sources} "${allowed}" PARENT_SCOPE)
endfunction()

# bytes(VARIABLE TEXT): the text as numbers of a C++ array.
function(bytes variable text)
  string(HEX "${text}" hex)
  string(REGEX REPLACE "(..)" "0x\\1," numbers "${hex}")
  string(REGEX REPLACE "(................................................................................)"
    "\\1\n" numbers "${numbers}")
  set(${variable} "${numbers}" PARENT_SCOPE)
endfunction()

embed(STYLES style_sources style "${STYLES}")
embed(SCRIPTS script_sources script "${SCRIPTS}")
set(POLICY "default-src 'none'; img-src data:; style-src${style_sources}; script-src${script_sources}")
string(APPEND POLICY "; base-uri 'none'; form-action 'none'")

string(REPLACE "," ";" licenses "${LICENSES}")
set(notices "")
foreach(license IN LISTS licenses)
  file(READ ${license} text)
  string(APPEND notices "<!--\n${text}-->\n")
endforeach()

file(READ ${PAGE} page)
# In this order: what is filled in is not searched for further places.
string(FIND "${page}" "@DATA@" place)
string(SUBSTRING "${page}" 0 ${place} before)
math(EXPR place "${place} + 6")
string(SUBSTRING "${page}" ${place} -1 after)
string(REPLACE "@POLICY@" "${POLICY}" before "${before}")
string(REPLACE "@STYLES@" "${notices}${STYLES}" before "${before}")
string(REPLACE "@SCRIPTS@" "${SCRIPTS}" after "${after}")

bytes(before_bytes "${before}")
bytes(after_bytes "${after}")
file(WRITE ${OUTPUT} "// Made by cmake/embed_page.cmake.
#include \"inspect/report_page.h\"

namespace inspect {

const unsigned char kPageBeforeData[] = {
${before_bytes}};
const size_t kPageBeforeDataBytes = sizeof kPageBeforeData;
const unsigned char kPageAfterData[] = {
${after_bytes}};
const size_t kPageAfterDataBytes = sizeof kPageAfterData;

}  // namespace inspect
")
