#include "kest/platform/linux/SystemMessages.h"

#include <algorithm>
#include <iterator>

namespace Tallowmere::platform {
namespace {

struct Message {
    DWORD code;
    const char* text;
};

/// In the order of the codes. All texts are ASCII. Our choice: where the wording has changed from
/// one Windows to the next, one that is widely known; a line break within a text is a blank here.
constexpr Message kMessages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {7, "The storage control blocks were destroyed."},
    {8, "Not enough memory resources are available to process this command."},
    {9, "The storage control block address is invalid."},
    {10, "The environment is incorrect."},
    {11, "An attempt was made to load a program with an incorrect format."},
    {12, "The access code is invalid."},
    {13, "The data is invalid."},
    {14, "Not enough storage is available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {16, "The directory cannot be removed."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {20, "The system cannot find the device specified."},
    {21, "The device is not ready."},
    {22, "The device does not recognize the command."},
    {23, "Data error (cyclic redundancy check)."},
    {24, "The program issued a command but the command length is incorrect."},
    {25, "The drive cannot locate a specific area or track on the disk."},
    {26, "The specified disk or diskette cannot be accessed."},
    {27, "The drive cannot find the sector requested."},
    {28, "The printer is out of paper."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33,
     "The process cannot access the file because another process has locked a portion of the "
     "file."},
    {34, "The wrong diskette is in the drive. Insert %2 (Volume Serial Number: %3) into drive %1."},
    {36, "Too many files opened for sharing."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {51,
     "Windows cannot find the network path. Verify that the network path is correct and the "
     "destination computer is not busy or turned off. If Windows still cannot find the network "
     "path, contact your network administrator."},
    {52,
     "You were not connected because a duplicate name exists on the network. If joining a domain, "
     "go to System in Control Panel to change the computer name and try again. If joining a "
     "workgroup, choose another workgroup name."},
    {53, "The network path was not found."},
    {54, "The network is busy."},
    {55, "The specified network resource or device is no longer available."},
    {56, "The network BIOS command limit has been reached."},
    {57, "A network adapter hardware error occurred."},
    {58, "The specified server cannot perform the requested operation."},
    {59, "An unexpected network error occurred."},
    {60, "The remote adapter is not compatible."},
    {61, "The printer queue is full."},
    {62, "Space to store the file waiting to be printed is not available on the server."},
    {63, "Your file waiting to be printed was deleted."},
    {64, "The specified network name is no longer available."},
    {65, "Network access is denied."},
    {66, "The network resource type is not correct."},
    {67, "The network name cannot be found."},
    {68, "The name limit for the local computer network adapter card was exceeded."},
    {69, "The network BIOS session limit was exceeded."},
    {70, "The remote server has been paused or is in the process of being started."},
    {71,
     "No more connections can be made to this remote computer at this time because there are "
     "already as many connections as the computer can accept."},
    {72, "The specified printer or disk device has been paused."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {83, "Fail on INT 24."},
    {84, "Storage to process this request is not available."},
    {85, "The local device name is already in use."},
    {86, "The specified network password is not correct."},
    {87, "The parameter is incorrect."},
    {88, "A write fault occurred on the network."},
    {89, "The system cannot start another process at this time."},
    {100, "Cannot create another system semaphore."},
    {101, "The exclusive semaphore is owned by another process."},
    {102, "The semaphore is set and cannot be closed."},
    {103, "The semaphore cannot be set again."},
    {104, "Cannot request exclusive semaphores at interrupt time."},
    {105, "The previous ownership of this semaphore has ended."},
    {106, "Insert the diskette for drive %1."},
    {107, "The program stopped because an alternate diskette was not inserted."},
    {108, "The disk is in use or locked by another process."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {113, "No more internal file identifiers available."},
    {114, "The target internal file identifier is incorrect."},
    {117, "The IOCTL call made by the application program is not correct."},
    {118, "The verify-on-write switch parameter value is not correct."},
    {119, "The system does not support the command requested."},
    {120, "This function is not supported on this system."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {124, "The system call level is not correct."},
    {125, "The disk has no volume label."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {128, "There are no child processes to wait for."},
    {129, "The %1 application cannot be run in Win32 mode."},
    {130,
     "Attempt to use a file handle to an open disk partition for an operation other than raw disk "
     "I/O."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {132, "The file pointer cannot be set on the specified device or file."},
    {144, "The directory is not a subdirectory of the root directory."},
    {145, "The directory is not empty."},
    {147, "Not enough resources are available to process this command."},
    {148, "The path specified cannot be used at this time."},
    {154,
     "The volume label you entered exceeds the label character limit of the target file system."},
    {156, "The recipient process has refused the signal."},
    {157, "The segment is already discarded and cannot be locked."},
    {158, "The segment is already unlocked."},
    {159, "The address for the thread ID is not correct."},
    {160, "One or more arguments are not correct."},
    {161, "The specified path is invalid."},
    {162, "A signal is already pending."},
    {164, "No more threads can be created in the system."},
    {167, "Unable to lock a region of a file."},
    {170, "The requested resource is in use."},
    {173, "A lock request was not outstanding for the supplied cancel region."},
    {174, "The file system does not support atomic changes to the lock type."},
    {182, "The operating system cannot run %1."},
    {183, "Cannot create a file when that file already exists."},
    {186, "The flag passed is not correct."},
    {187, "The specified system semaphore name was not found."},
    {191, "Cannot run %1 in Win32 mode."},
    {192, "The operating system cannot run %1."},
    {193, "%1 is not a valid Win32 application."},
    {203, "The system could not find the environment option that was entered."},
    {205, "No process in the command subtree has a signal handler."},
    {206, "The filename or extension is too long."},
    {208,
     "The global filename characters, * or ?, are entered incorrectly or too many global filename "
     "characters are specified."},
    {209, "The signal being posted is not correct."},
    {212, "The segment is locked and cannot be reallocated."},
    {214, "Too many dynamic-link modules are attached to this program or dynamic-link module."},
    {215, "Cannot nest calls to LoadModule."},
    {220, "This file is checked out or locked for editing by another user."},
    {221, "The file must be checked out before saving changes."},
    {222, "The file type being saved or retrieved has been blocked."},
    {223, "The file size exceeds the limit allowed and cannot be saved."},
    {225,
     "Operation did not complete successfully because the file contains a virus or potentially "
     "unwanted software."},
    {229, "The pipe is local."},
    {230, "The pipe state is invalid."},
    {231, "All pipe instances are busy."},
    {232, "The pipe is being closed."},
    {233, "No process is on the other end of the pipe."},
    {234, "More data is available."},
    {240, "The session was canceled."},
    {254, "The specified extended attribute name was invalid."},
    {255, "The extended attributes are inconsistent."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {266, "The copy functions cannot be used."},
    {267, "The directory name is invalid."},
    {275, "The extended attributes did not fit in the buffer."},
    {276, "The extended attribute file on the mounted file system is corrupt."},
    {277, "The extended attribute table file is full."},
    {278, "The specified extended attribute handle is invalid."},
    {282, "The mounted file system does not support extended attributes."},
    {288, "Attempt to release mutex not owned by caller."},
    {298, "Too many posts were made to a semaphore."},
    {299, "Only part of a ReadProcessMemory or WriteProcessMemory request was completed."},
    {300, "The oplock request is denied."},
    {301, "An invalid oplock acknowledgment was received by the system."},
    {302, "The volume is too fragmented to complete this operation."},
    {303, "The file cannot be opened because it is in the process of being deleted."},
    {317,
     "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {318, "The scope specified was not found."},
    {487, "Attempt to access invalid address."},
    {534, "Arithmetic result exceeded 32 bits."},
    {535, "There is a process on other end of the pipe."},
    {536, "Waiting for a process to open the other end of the pipe."},
    {994, "Access to the extended attribute was denied."},
    {995,
     "The I/O operation has been aborted because of either a thread exit or an application "
     "request."},
    {996, "Overlapped I/O event is not in a signaled state."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {999, "Error performing inpage operation."},
    {1001, "Recursion too deep; the stack overflowed."},
    {1002, "The window cannot act on the sent message."},
    {1003, "Cannot complete this function."},
    {1004, "Invalid flags."},
    {1005,
     "The volume does not contain a recognized file system. Please make sure that all required "
     "file system drivers are loaded and that the volume is not corrupted."},
    {1006,
     "The volume for a file has been externally altered so that the opened file is no longer "
     "valid."},
    {1007, "The requested operation cannot be performed in full-screen mode."},
    {1008, "An attempt was made to reference a token that does not exist."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1014,
     "One of the files in the registry database had to be recovered by use of a log or alternate "
     "copy. The recovery was successful."},
    {1015,
     "The registry is corrupted. The structure of one of the files containing registry data is "
     "corrupted, or the system's memory image of the file is corrupted, or the file could not be "
     "recovered because the alternate copy or log was absent or corrupted."},
    {1016,
     "An I/O operation initiated by the registry failed unrecoverably. The registry could not read "
     "in, or write out, or flush, one of the files that contain the system's image of the "
     "registry."},
    {1017,
     "The system has attempted to load or restore a file into the registry, but the specified file "
     "is not in a registry file format."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1019, "System could not allocate the required space in a registry log."},
    {1020, "Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1053, "The service did not respond to the start or control request in a timely fashion."},
    {1056, "An instance of the service is already running."},
    {1058,
     "The service cannot be started, either because it is disabled or because it has no enabled "
     "devices associated with it."},
    {1060, "The specified service does not exist as an installed service."},
    {1062, "The service has not been started."},
    {1067, "The process terminated unexpectedly."},
    {1100, "The physical end of the tape has been reached."},
    {1110, "The media in the drive may have changed."},
    {1111, "The I/O bus was reset."},
    {1112, "No media in drive."},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, "A dynamic link library (DLL) initialization routine failed."},
    {1115, "A system shutdown is in progress."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1131, "A potential deadlock condition has been detected."},
    {1132, "The base address or the file offset specified does not have the proper alignment."},
    {1142, "An attempt was made to create more links on a file than the file system supports."},
    {1150, "The specified program requires a newer version of Windows."},
    {1151, "The specified program is not a Windows or MS-DOS program."},
    {1152, "Cannot start more than one instance of the specified program."},
    {1154, "One of the library files needed to run this application is damaged."},
    {1155, "No application is associated with the specified file for this operation."},
    {1157, "One of the library files needed to run this application cannot be found."},
    {1167, "The device is not connected."},
    {1168, "Element not found."},
    {1169, "There was no match for the specified key in the index."},
    {1170, "The property set specified does not exist on the object."},
    {1175, "Unable to remove the file to be replaced."},
    {1176,
     "Unable to move the replacement file to the file to be replaced. The file to be replaced has "
     "retained its original name."},
    {1177,
     "Unable to move the replacement file to the file to be replaced. The file to be replaced has "
     "been renamed using the backup name."},
    {1200, "The specified device name is invalid."},
    {1201, "The device is not currently connected but it is a remembered connection."},
    {1203,
     "The network path was either typed incorrectly, does not exist, or the network provider is "
     "not currently available. Please try retyping the path or contact your network "
     "administrator."},
    {1208, "An extended error has occurred."},
    {1214, "The format of the specified network name is invalid."},
    {1219,
     "Multiple connections to a server or shared resource by the same user, using more than one "
     "user name, are not allowed. Disconnect all previous connections to the server or shared "
     "resource and try again."},
    {1222, "The network is not present or not started."},
    {1223, "The operation was canceled by the user."},
    {1224,
     "The requested operation cannot be performed on a file with a user-mapped section open."},
    {1225, "The remote computer refused the network connection."},
    {1226, "The network connection was gracefully closed."},
    {1227, "The network transport endpoint already has an address associated with it."},
    {1228, "An address has not yet been associated with the network endpoint."},
    {1229, "An operation was attempted on a nonexistent network connection."},
    {1230, "An invalid operation was attempted on an active network connection."},
    {1231,
     "The network location cannot be reached. For information about network troubleshooting, see "
     "Windows Help."},
    {1232,
     "The network location cannot be reached. For information about network troubleshooting, see "
     "Windows Help."},
    {1233,
     "The network location cannot be reached. For information about network troubleshooting, see "
     "Windows Help."},
    {1234, "No service is operating at the destination network endpoint on the remote system."},
    {1235, "The request was aborted."},
    {1236, "The network connection was aborted by the local system."},
    {1237, "The operation could not be completed. A retry should be performed."},
    {1247,
     "An attempt was made to perform an initialization operation when initialization has already "
     "been completed."},
    {1248, "No more local devices."},
    {1295,
     "The requested file operation failed because the storage quota was exceeded. To free up disk "
     "space, move files to a different location or delete unnecessary files. For more information, "
     "contact your system administrator."},
    {1300, "Not all privileges or groups referenced are assigned to the caller."},
    {1307, "This security ID may not be assigned as the owner of this object."},
    {1308, "This security ID may not be assigned as the primary group of an object."},
    {1312, "A specified logon session does not exist. It may already have been terminated."},
    {1313, "A specified privilege does not exist."},
    {1314, "A required privilege is not held by the client."},
    {1317, "The specified account does not exist."},
    {1326, "The user name or password is incorrect."},
    {1332, "No mapping between account names and security IDs was done."},
    {1336, "The access control list (ACL) structure is invalid."},
    {1337, "The security ID structure is invalid."},
    {1338, "The security descriptor structure is invalid."},
    {1355, "The specified domain either does not exist or could not be contacted."},
    {1359, "An internal error occurred."},
    {1392, "The file or directory is corrupted and unreadable."},
    {1393, "The disk structure is corrupted and unreadable."},
    {1413, "Invalid index."},
    {1450, "Insufficient system resources exist to complete the requested service."},
    {1451, "Insufficient system resources exist to complete the requested service."},
    {1452, "Insufficient system resources exist to complete the requested service."},
    {1453, "Insufficient quota to complete the requested service."},
    {1454, "Insufficient quota to complete the requested service."},
    {1455, "The paging file is too small for this operation to complete."},
    {1460, "This operation returned because the timeout period expired."},
    {1462, "Incorrect size argument."},
    {1463, "The symbolic link cannot be followed because its type is disabled."},
    {1464, "This application does not support the current operation on symbolic links."},
    {1605, "This action is only valid for products that are currently installed."},
    {1702, "The binding handle is invalid."},
    {1717, "The interface is unknown."},
    {1722, "The RPC server is unavailable."},
    {1723, "The RPC server is too busy to complete this operation."},
    {1726, "The remote procedure call failed."},
    {1727, "The remote procedure call failed and did not execute."},
    {1753, "There are no more endpoints available from the endpoint mapper."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
    {1785, "The disk media is not recognized. It may not be formatted."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
    {1814, "The specified resource name cannot be found in the image file."},
    {1815, "The specified resource language ID cannot be found in the image file."},
    {1816, "Not enough quota is available to process this command."},
    {1901, "The specified time is invalid."},
    {1920, "The file cannot be accessed by the system."},
    {1921, "The name of the file cannot be resolved by the system."},
    {2102, "The workstation driver is not installed."},
    {2114, "The Server service is not started."},
    {2138, "The Workstation service has not been started."},
    {2250, "This network connection does not exist."},
    {2310, "This shared resource does not exist."},
    {2311, "This device is not shared."},
    {2401, "This network connection has files open or requests pending."},
    {2402, "Active connections still exist."},
    {2404, "The device is in use by an active process and cannot be disconnected."},
    {4390, "The file or directory is not a reparse point."},
    {4391,
     "The reparse point attribute cannot be set because it conflicts with an existing attribute."},
    {4392, "The data present in the reparse point buffer is invalid."},
    {4393, "The tag present in the reparse point buffer is invalid."},
    {4394,
     "There is a mismatch between the tag specified in the request and the tag present in the "
     "reparse point."},
    {5023, "The group or resource is not in the correct state to perform the requested operation."},
    {6000, "The specified file could not be encrypted."},
    {6001, "The specified file could not be decrypted."},
    {6002, "The specified file is encrypted and the user does not have the ability to decrypt it."},
    {6700, "The transaction handle associated with this operation is not valid."},
    {6701,
     "The requested operation was made in the context of a transaction that is no longer active."},
    {6702, "The requested operation is not valid on the Transaction object in its current state."},
    {6703,
     "The caller has called a response API, but the response is not expected because the TM did "
     "not issue the corresponding request to the caller."},
    {6704,
     "It is too late to perform the requested operation, since the Transaction has already been "
     "aborted."},
    {6705,
     "It is too late to perform the requested operation, since the Transaction has already been "
     "committed."},
    {6706,
     "The Transaction Manager was unable to be successfully initialized. Transacted operations are "
     "not supported."},
    {6707,
     "The specified ResourceManager made no changes or updates to the resource under this "
     "transaction."},
    {6708,
     "The resource manager has attempted to prepare a transaction that it has not successfully "
     "joined."},
    {6709,
     "The Transaction object already has a superior enlistment, and the caller attempted an "
     "operation that would have created a new superior. Only a single superior enlistment is "
     "allow."},
    {6710, "The RM tried to register a protocol that already exists."},
    {6711, "The attempt to propagate the Transaction failed."},
    {6712, "The requested propagation protocol was not registered as a CRM."},
    {6713, "The buffer passed in to PushTransaction or PullTransaction is not in a valid format."},
    {6714,
     "The current transaction context associated with the thread is not a valid handle to a "
     "transaction object."},
    {6715, "The specified Transaction object could not be opened, because it was not found."},
    {6716, "The specified ResourceManager object could not be opened, because it was not found."},
    {6717, "The specified Enlistment object could not be opened, because it was not found."},
    {6718,
     "The specified TransactionManager object could not be opened, because it was not found."},
    {6719,
     "The object specified could not be created or opened, because its associated "
     "TransactionManager is not online. The TransactionManager must be brought fully Online by "
     "calling RecoverTransactionManager to recover to the end of its LogFile before objects in its "
     "Transaction or ResourceManager namespaces can be opened. In addition, errors in writing "
     "records to its LogFile can cause a TransactionManager to go offline."},
    {6720,
     "The specified TransactionManager was unable to create the objects contained in its logfile "
     "in the Ob namespace. Therefore, the TransactionManager was unable to recover."},
    {6721,
     "The call to create a superior Enlistment on this Transaction object could not be completed, "
     "because the Transaction object specified for the enlistment is a subordinate branch of the "
     "Transaction. Only the root of the Transaction can be enlisted on as a superior."},
    {6722,
     "Because the associated transaction manager or resource manager has been closed, the handle "
     "is no longer valid."},
    {6723,
     "The specified operation could not be performed on this Superior enlistment, because the "
     "enlistment was not created with the corresponding completion response in the "
     "NotificationMask."},
    {6724,
     "The specified operation could not be performed, because the record that would be logged was "
     "too long. This can occur because of two conditions: either there are too many Enlistments on "
     "this Transaction, or the combined RecoveryInformation being logged on behalf of those "
     "Enlistments is too long."},
    {6725, "Implicit transaction are not supported."},
    {6726,
     "The kernel transaction manager had to abort or forget the transaction because it blocked "
     "forward progress."},
    {6727,
     "The TransactionManager identity that was supplied did not match the one recorded in the "
     "TransactionManager's log file."},
    {6728,
     "This snapshot operation cannot continue because a transactional resource manager cannot be "
     "frozen in its current state. Please try again."},
    {6729,
     "The transaction cannot be enlisted on with the specified EnlistmentMask, because the "
     "transaction has already completed the PrePrepare phase. In order to ensure correctness, the "
     "ResourceManager must switch to a write- through mode and cease caching data within this "
     "transaction. Enlisting for only subsequent transaction phases may still succeed."},
    {6730, "The transaction does not have a superior enlistment."},
    {6731,
     "The attempt to commit the Transaction completed, but it is possible that some portion of the "
     "transaction tree did not commit successfully due to heuristics. Therefore it is possible "
     "that some data modified in the transaction may not have committed, resulting in "
     "transactional inconsistency. If possible, check the consistency of the associated data."},
    {6800, "The function attempted to use a name that is reserved for use by another transaction."},
    {6801,
     "Transaction support within the specified resource manager is not started or was shut down "
     "due to an error."},
    {6802, "The metadata of the RM has been corrupted. The RM will not function."},
    {6803, "The specified directory does not contain a resource manager."},
    {6805, "The remote server or share does not support transacted file operations."},
    {6806, "The requested log size is invalid."},
    {6807,
     "The object (file, stream, link) corresponding to the handle has been deleted by a "
     "Transaction Savepoint Rollback."},
    {6808, "The specified file miniversion was not found for this transacted file open."},
    {6809,
     "The specified file miniversion was found but has been invalidated. Most likely cause is a "
     "transaction savepoint rollback."},
    {6810, "A miniversion may only be opened in the context of the transaction that created it."},
    {6811, "It is not possible to open a miniversion with modify access."},
    {6812, "It is not possible to create any more miniversions for this stream."},
    {6814,
     "The remote server sent mismatching version number or Fid for a file opened with "
     "transactions."},
    {6815,
     "The handle has been invalidated by a transaction. The most likely cause is the presence of "
     "memory mapping on a file or an open handle when the transaction ended or rolled back to "
     "savepoint."},
    {6816, "There is no transaction metadata on the file."},
    {6817, "The log data is corrupt."},
    {6818, "The file can't be recovered because there is a handle still open on it."},
    {6819,
     "The transaction outcome is unavailable because the resource manager responsible for it has "
     "disconnected."},
    {6820,
     "The request was rejected because the enlistment in question is not a superior enlistment."},
    {6821, "The transactional resource manager is already consistent. Recovery is not needed."},
    {6822, "The transactional resource manager has already been started."},
    {6823,
     "The file cannot be opened transactionally, because its identity depends on the outcome of an "
     "unresolved transaction."},
    {6824,
     "The operation cannot be performed because another transaction is depending on the fact that "
     "this property will not change."},
    {6825,
     "The operation would involve a single file with two transactional resource managers and is "
     "therefore not allowed."},
    {6826, "The $Txf directory must be empty for this operation to succeed."},
    {6827,
     "The operation would leave a transactional resource manager in an inconsistent state and is "
     "therefore not allowed."},
    {6828,
     "The operation could not be completed because the transaction manager does not have a log."},
    {6829,
     "A rollback could not be scheduled because a previously scheduled rollback has already "
     "executed or been queued for execution."},
    {6830,
     "The transactional metadata attribute on the file or directory is corrupt and unreadable."},
    {6831, "The encryption operation could not be completed because a transaction is active."},
    {6832, "This object is not allowed to be opened in a transaction."},
    {6833,
     "An attempt to create space in the transactional resource manager's log failed. The failure "
     "status has been recorded in the event log."},
    {6834,
     "Memory mapping (creating a mapped section) a remote file under a transaction is not "
     "supported."},
    {6835, "Transaction metadata is already present on this file and cannot be superseded."},
    {6836,
     "A transaction scope could not be entered because the scope handler has not been "
     "initialized."},
    {6837,
     "Promotion was required in order to allow the resource manager to enlist, but the transaction "
     "was set to disallow it."},
    {6838,
     "This file is open for modification in an unresolved transaction and may be opened for "
     "execute only by a transacted reader."},
    {6839,
     "The request to thaw frozen transactions was ignored because transactions had not previously "
     "been frozen."},
    {6840, "Transactions cannot be frozen because a freeze is already in progress."},
    {6841,
     "The target volume is not a snapshot volume. This operation is only valid on a volume mounted "
     "as a snapshot."},
    {6842,
     "The savepoint operation failed because files are open on the transaction. This is not "
     "permitted."},
    {6843,
     "Windows has discovered corruption in a file, and that file has since been repaired. Data "
     "loss may have occurred."},
    {6844,
     "The sparse operation could not be completed because a transaction is active on the file."},
    {6845,
     "The call to create a TransactionManager object failed because the Tm Identity stored in the "
     "logfile does not match the Tm Identity that was passed in as an argument."},
    {6846,
     "I/O was attempted on a section object that has been floated as a result of a transaction "
     "ending. There is no valid data."},
    {6847,
     "The transactional resource manager cannot currently accept transacted work due to a "
     "transient condition such as low resources."},
    {6848,
     "The transactional resource manager had too many transactions outstanding that could not be "
     "aborted. The transactional resource manger has been shut down."},
    {6849, "The operation could not be completed due to bad clusters on disk."},
    {6850,
     "The compression operation could not be completed because a transaction is active on the "
     "file."},
    {6851,
     "The operation could not be completed because the volume is dirty. Please run chkdsk and try "
     "again."},
    {6852, "The link tracking operation could not be completed because a transaction is active."},
    {6853, "This operation cannot be performed in a transaction."},
    {6854,
     "The handle is no longer properly associated with its transaction. It may have been opened in "
     "a transactional resource manager that was subsequently forced to restart. Please close the "
     "handle and open a new one."},
    {6855,
     "The specified operation could not be performed because the resource manager is not enlisted "
     "in the transaction."},
};

constexpr bool isBefore(const Message& message, DWORD code) {
    return message.code < code;
}

// Found by halving, so no code may be out of its place or there twice.
static_assert(std::adjacent_find(std::begin(kMessages), std::end(kMessages),
                                 [](const Message& first, const Message& second) {
                                     return first.code >= second.code;
                                 }) == std::end(kMessages));

}  // namespace

const char* systemMessage(DWORD code) {
    const Message* const found =
        std::lower_bound(std::begin(kMessages), std::end(kMessages), code, isBefore);
    return found != std::end(kMessages) && found->code == code ? found->text : nullptr;
}

}  // namespace Tallowmere::platform
