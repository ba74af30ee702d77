#include "kest/platform/linux/SystemMessages.h"

#include <gtest/gtest.h>

#include <string>

namespace Tallowmere::platform {
namespace {

TEST(SystemMessage, IsTheSystemsWording) {
    EXPECT_STREQ("The operation completed successfully.", systemMessage(0));
    EXPECT_STREQ("The system cannot find the file specified.", systemMessage(2));
    EXPECT_STREQ("The system cannot find the path specified.", systemMessage(3));
    EXPECT_STREQ("Access is denied.", systemMessage(5));
    EXPECT_STREQ("The handle is invalid.", systemMessage(6));
    EXPECT_STREQ("There is not enough space on the disk.", systemMessage(112));
    EXPECT_STREQ("The specified module could not be found.", systemMessage(126));
    EXPECT_STREQ("The directory is not empty.", systemMessage(145));
    EXPECT_STREQ("Cannot create a file when that file already exists.", systemMessage(183));
    EXPECT_STREQ("%1 is not a valid Win32 application.", systemMessage(193));
    EXPECT_STREQ("Attempt to release mutex not owned by caller.", systemMessage(288));
    EXPECT_STREQ("A required privilege is not held by the client.", systemMessage(1314));
    EXPECT_STREQ("The name of the file cannot be resolved by the system.", systemMessage(1921));
    EXPECT_STREQ(
        "The function attempted to use a name that is reserved for use by another transaction.",
        systemMessage(6800));
    EXPECT_STREQ(
        "The specified operation could not be performed because the resource manager is not "
        "enlisted in the transaction.",
        systemMessage(6855));
}

TEST(SystemMessage, IsNullForACodeWithoutOne) {
    for (const DWORD code : {10783U, 37U, 6804U, 6856U, 0x80070005U, 0x80041010U, 0xFFFFFFFFU}) {
        EXPECT_EQ(nullptr, systemMessage(code)) << code;
    }
}

TEST(SystemMessage, IsThereForEveryCodeThatTheLibraryNames) {
    for (const DWORD code :
         {ERROR_SUCCESS, ERROR_INVALID_FUNCTION, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND,
          ERROR_TOO_MANY_OPEN_FILES, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE,
          ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_DATA, ERROR_OUTOFMEMORY, ERROR_INVALID_DRIVE,
          ERROR_CURRENT_DIRECTORY, ERROR_NOT_SAME_DEVICE, ERROR_NO_MORE_FILES, ERROR_WRITE_PROTECT,
          ERROR_BAD_UNIT, ERROR_NOT_READY, ERROR_GEN_FAILURE, ERROR_SHARING_VIOLATION,
          ERROR_LOCK_VIOLATION, ERROR_HANDLE_DISK_FULL, ERROR_NOT_SUPPORTED, ERROR_FILE_EXISTS,
          ERROR_CANNOT_MAKE, ERROR_INVALID_PARAMETER, ERROR_BROKEN_PIPE, ERROR_DISK_FULL,
          ERROR_CALL_NOT_IMPLEMENTED, ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_NAME,
          ERROR_MOD_NOT_FOUND, ERROR_PROC_NOT_FOUND, ERROR_DIR_NOT_EMPTY, ERROR_BAD_PATHNAME,
          ERROR_BUSY, ERROR_ALREADY_EXISTS, ERROR_FILENAME_EXCED_RANGE, ERROR_FILE_TOO_LARGE,
          ERROR_MORE_DATA, ERROR_DIRECTORY, ERROR_NOT_OWNER, ERROR_MR_MID_NOT_FOUND,
          ERROR_OPERATION_ABORTED, ERROR_INVALID_FLAGS, ERROR_IO_DEVICE, ERROR_TOO_MANY_LINKS,
          ERROR_NOT_FOUND, ERROR_PRIVILEGE_NOT_HELD, ERROR_DISK_QUOTA_EXCEEDED, ERROR_FILE_CORRUPT,
          ERROR_NO_SYSTEM_RESOURCES, ERROR_RESOURCE_TYPE_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND,
          ERROR_CANT_RESOLVE_FILENAME, ERROR_NOT_A_REPARSE_POINT, ERROR_INVALID_TRANSACTION,
          ERROR_TRANSACTION_NOT_ACTIVE, ERROR_TRANSACTION_ALREADY_ABORTED,
          ERROR_TRANSACTION_ALREADY_COMMITTED, ERROR_TRANSACTIONAL_CONFLICT, WAIT_TIMEOUT}) {
        EXPECT_NE(nullptr, systemMessage(code)) << code;
    }
}

TEST(SystemMessage, IsPlainTextWithoutALineEnd) {
    int messages = 0;
    for (DWORD code = 0; code < 16000; ++code) {
        const char* const text = systemMessage(code);
        if (text == nullptr) {
            continue;
        }
        ++messages;
        const std::string message(text);
        ASSERT_FALSE(message.empty()) << code;
        EXPECT_TRUE(message.back() == '.' || message.back() == '%') << code << ": " << message;
        for (const char c : message) {
            EXPECT_TRUE(c >= ' ' && c <= '~') << code;
        }
        EXPECT_EQ(std::string::npos, message.find("fixed")) << code;
        EXPECT_EQ(std::string::npos, message.find("  ")) << code;
    }
    EXPECT_EQ(400, messages);
}

}  // namespace
}  // namespace Tallowmere::platform
