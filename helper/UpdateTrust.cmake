# Trust sets of the updater: the Ed25519 public keys a helper accepts for developer signatures and notary
# countersignatures, and the team identifier the application asks for. A trust set is a folder with
# developer.pub.pem and one or more notary*.pub.pem. The release set is app/update-keys/; the tests build
# their own executables against throwaway keys (tests/updater/), so no product binary ever trusts those.
#
# TESSARY_UPDATE_KEYS names the set the product is built with. Official releases use the default; a fork that
# publishes its own updates, or a rehearsal of the release pipeline with throwaway keys, points it elsewhere.
set(TESSARY_UPDATE_KEYS ${PROJECT_SOURCE_DIR}/app/update-keys CACHE PATH
    "Trust set (developer.pub.pem, notary*.pub.pem) the product's updater is built with")

# Fails the configure step unless path holds an Ed25519 public key in PEM form.
function(_tessary_check_ed25519_key path)
    execute_process(COMMAND openssl pkey -pubin -in ${path} -noout -text
        OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE result)
    if(NOT result EQUAL 0 OR NOT text MATCHES "^ED25519 Public-Key")
        message(FATAL_ERROR "${path} is not an Ed25519 public key: ${errors}")
    endif()
endfunction()

# tessary_update_team_identifier(<key dir> <variable>): the team identifier of the set's developer key, the first
# ten characters of the upper-case hexadecimal SHA-256 of its 32 raw bytes.
function(tessary_update_team_identifier key_dir variable)
    set(key ${key_dir}/developer.pub.pem)
    _tessary_check_ed25519_key(${key})
    # The DER form of an Ed25519 public key ends with the 32 raw key bytes.
    execute_process(
        COMMAND openssl pkey -pubin -in ${key} -outform DER
        COMMAND tail -c 32
        COMMAND sha256sum
        OUTPUT_VARIABLE digest RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "cannot compute the team identifier of ${key}")
    endif()
    string(SUBSTRING "${digest}" 0 10 team)
    string(TOUPPER "${team}" team)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${key})
    set(${variable} ${team} PARENT_SCOPE)
endfunction()

# tessary_add_update_trust(<target> <key dir>): a static library that defines the key lists of
# helper/UpdateTrust.h from the set's PEM files.
function(tessary_add_update_trust target key_dir)
    set(developer_key ${key_dir}/developer.pub.pem)
    # The notary key may be rotated: every notary*.pub.pem of the set is trusted.
    file(GLOB notary_keys LIST_DIRECTORIES false ${key_dir}/notary*.pub.pem)
    list(SORT notary_keys)
    if(NOT notary_keys)
        message(FATAL_ERROR "${key_dir} has no notary*.pub.pem")
    endif()
    set(notary_list "")
    foreach(key ${developer_key} ${notary_keys})
        _tessary_check_ed25519_key(${key})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${key})
    endforeach()
    file(READ ${developer_key} developer_pem)
    foreach(key ${notary_keys})
        file(READ ${key} pem)
        string(APPEND notary_list "        QByteArrayLiteral(R\"PEM(${pem})PEM\"),\n")
    endforeach()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "// Generated from ${key_dir} by helper/UpdateTrust.cmake.
#include \"helper/UpdateTrust.h\"

namespace Tessary::UpdateTrust {

QByteArrayList developerPublicKeys()
{
    return {QByteArrayLiteral(R\"PEM(${developer_pem})PEM\")};
}

QByteArrayList notaryPublicKeys()
{
    return {
${notary_list}    };
}

} // namespace Tessary::UpdateTrust
" @ONLY)
    add_library(${target} STATIC ${source})
    target_link_libraries(${target} PUBLIC Qt6::Core PRIVATE tessary_build_settings)
endfunction()
