// Status code descriptions. The texts are part of the interface: applications
// compare and display them, so they stay exactly as they were published,
// spelling included.

#include "ErrorTable.h"

#include <iterator>

#include "tgx_genicam.h"

namespace orva::genicam {
namespace {

constexpr ErrorRecord kErrorTable[] = {
    // General
    {TGX_OK, "No error"},
    {TGX_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle"},
    {TGX_ERR_INVALID_BOARD_HANDLE, "Invalid board handle"},
    {TGX_ERR_FILE_NOT_FOUND, "File not found"},
    {TGX_ERR_INVALID_FILENAME, "Invalid filename"},
    {TGX_ERR_FILE_ACCESS, "Error when accessing the file"},
    {TGX_ERR_NO_DATA, "No data at function argument given"},
    {TGX_ERR_VALUE_OUT_OF_RANGE, "Value out of range"},
    {TGX_ERR_NO_INTERFACE, "No Interface"},
    {TGX_ERR_BOARD_NOT_SUPPORTED, "Board type does not support GenICam interface"},
    {TGX_ERR_BUFFER_TOO_SMALL, "Buffer to small to store all received data"},
    {TGX_ERR_ACCESS_DENIED, "Access denied"},
    {TGX_ERR_BLOCKED, "Operation is blocked by another process / thread"},
    {TGX_ERR_NO_EVENT_HANDLER, "No event handler registered"},
    {TGX_ERR_INVALID_POINTER, "Invalid pointer"},
    {TGX_ERR_OUT_OF_MEMORY, "Not enough memory"},

    // GenICam layer
    {TGX_ERR_NO_GENICAM_CONNECTION, "No GenICam connection"},
    {TGX_ERR_UNKNOWN_PROPERTY, "Tried to access an unknown property"},
    {TGX_ERR_INVALID_FEATURE, "Invalid GenICam feature requested"},
    {TGX_ERR_INVALID_COMMAND, "Invalid GenICam command requested"},
    {TGX_ERR_FEATURE_WRITE_ONLY, "a TGX_GetValue function tried to read a write only register"},
    {TGX_ERR_FEATURE_READ_ONLY, "a TGX_GetValue function tried to write a read only register"},
    {TGX_ERR_GENICAM_EXCEPTION, "GenICam layer threw an exception, which was caught"},

    // Links and discovery
    {TGX_ERR_INVALID_LINK_SPEED, "Tried to set an invalid link speed"},
    {TGX_ERR_INVALID_LINK_INDEX, "Invalid link index"},
    {TGX_ERR_STREAM_PACKET_SIZE_REJECTED, "Camera doesn't accept the given stream packet size"},
    {TGX_ERR_LINK_COMBINATION_REJECTED, "Combination of bit rate and no. of links not accepted"},
    {TGX_ERR_EXTENSION_LINK_MISMATCH, "Extension link does not match to master"},
    {TGX_ERR_STREAM_PACKET_SIZE_NOT_ACCEPTED, "Stream packet size is not accepted by camera"},
    {TGX_ERR_LINK_LAYOUT_MISMATCH, "Desired link layout does not match"},
    {TGX_ERR_LINK_TIMEOUT, "Timeout when establishing link"},
    {TGX_ERR_INVALID_PORT, "Function was called by using an invalid port mask or port index"},
    {TGX_ERR_NO_MASTER_CONNECT, "A Master connect didn't take place at a second frame grabber"},
    {TGX_ERR_NO_CAMERA_FOUND, "Automatic discovery didn't find any camera"},
    {TGX_ERR_NO_PHYSICAL_CONNECTION, "No physical layer connection"},
    {TGX_ERR_NO_MASTER, "No master was detected or set for the camera"},
    {TGX_ERR_DISCOVERY_INFO_INCOMPLETE, "The camera discovery info is incomplete"},

    // Camera Link HS command core
    {TGX_ERR_CLHS_NO_COMMAND_WORD, "No command word available in the X-Core (CLHS)"},
    {TGX_ERR_CLHS_TX_BUFFER_FULL, "An transmission buffer was full, when trying to send data (CLHS)"},
    {TGX_ERR_CLHS_RECEIVE_FAILED, "XCore failed receiving a message 10 times (CLHS)"},
    {TGX_ERR_CLHS_TX_BUSY_TIMEOUT, "XCore TX Busy time out (CLHS)"},
    {TGX_ERR_CLHS_SEND_FAILED, "XCore failed Sending a message 10 times (CLHS) (no Acknowledge received 10 times)"},
    {TGX_ERR_CLHS_LLDEVICEID_REJECTED, "LLDeviceID Rejected by camera (CLHS)"},
    {TGX_ERR_CLHS_LLDEVICEID_READBACK, "LLDeviceID read back from camera failed (CLHS)"},

    // GenCP transport, host side
    {TGX_ERR_GENCP_CRC, "Corrupt CRC at command or acknowledge packet"},
    {TGX_ERR_GENCP_RETRIES_EXHAUSTED, "Timeout occurred after 3 retrials"},
    {TGX_ERR_GENCP_INVALID_PACKET, "Invalid GenCP packet received"},
    {TGX_ERR_GENCP_NO_ACK, "No acknowledge according to GenCP protocol received"},
    {TGX_ERR_GENCP_UNKNOWN_DEVICE_ERROR, "Unknown error code received from device / camera"},
    {TGX_ERR_GENCP_SHORT_READ, "Too few data received at a read command"},
    {TGX_ERR_GENCP_NO_READ_DATA, "No data received at a read command"},
    {TGX_ERR_GENCP_PENDING_ACK, "Pending Acknowledge received"},
    {TGX_ERR_GENCP_PENDING_OTHER_REQID,
     "Acknowledge of another ReqId received, while waiting on finalizing pending Ack."},
    {TGX_ERR_GENCP_PENDING_UNKNOWN_ERROR, "An unknown GenCP error code was detected on finalizing pending Ack."},
    {TGX_ERR_GENCP_UNEXPECTED_ACK, "An unexpected type of acknowledge was received"},

    // Arguments, internal faults, caught exceptions
    {TGX_ERR_INVALID_DATA_TYPE, "Invalid data type for void pointer"},
    {TGX_ERR_INVALID_ARGUMENT, "Invalid function argument"},
    {TGX_ERR_INTERNAL, "An internal error occurred"},
    {TGX_ERR_EXCEPTION, "Exception occurred when calling function"},
    {TGX_ERR_NOT_IMPLEMENTED, "Not implemented"},

    // GenCP status of the camera
    {TGX_ERR_GENCP_NOT_IMPLEMENTED, "GenCP: Command not implemented in the device"},
    {TGX_ERR_GENCP_INVALID_PARAMETER,
     "GenCP: least one of the command parameter of CD or SCD is invalid or out of range"},
    {TGX_ERR_GENCP_INVALID_ADDRESS, "GenCP: Attempt to access a not existing register address"},
    {TGX_ERR_GENCP_WRITE_PROTECT, "GenCP: Attempt to write to a read only register"},
    {TGX_ERR_GENCP_BAD_ALIGNMENT, "GenCP: Attempt to access register with an address which is not aligned according "
                                  "to the underlying technology"},
    {TGX_ERR_GENCP_ACCESS_DENIED, "GenCP: Attempt to read a non readable or write a non writable register address"},
    {TGX_ERR_GENCP_BUSY, "GenCP: The command receiver is currently busy"},
    {TGX_ERR_GENCP_MSG_TIMEOUT, "GenCP: Timeout waiting for an acknowledge"},
    {TGX_ERR_GENCP_INVALID_HEADER, "GenCP: The header of the received command is invalid. This includes CCD and SCD "
                                   "fields but not the command payload"},
    {TGX_ERR_GENCP_WRONG_CONFIG,
     "GenCP: The current receiver configuration does not allow the execution of the sent command"},
    {TGX_ERR_GENCP_GENERIC, "GenCP: Generic error"},

    // Board runtime libraries
    {TGX_ERR_BOARD_INIT, "Board initialization error"},
    {TGX_ERR_INCOMPATIBLE_LIBRARY, "Incompatible underlying library"},
    {TGX_ERR_LIBRARY_NOT_LOADED, "Underlaying library not loaded"},

    // CoaXPress acknowledge of the camera
    {TGX_ERR_CXP_INVALID_ADDRESS, "CXP: Invalid address"},
    {TGX_ERR_CXP_INVALID_DATA, "CXP: Invalid data for the address"},
    {TGX_ERR_CXP_INVALID_OPCODE, "CXP: Invalid control operation code"},
    {TGX_ERR_CXP_WRITE_READ_ONLY, "CXP: Write attempted to a read-only address"},
    {TGX_ERR_CXP_READ_WRITE_ONLY, "CXP: Read attempted from a write-only address"},
    {TGX_ERR_CXP_SIZE_TOO_LARGE, "CXP: Size field too large for command message (write) or acknowledgment message "
                                 "(read) would exceed packet size limit"},
    {TGX_ERR_CXP_SIZE_INCONSISTENT,
     "CXP: Incorrect size received, Message size is inconsistent with message size indication"},
    {TGX_ERR_CXP_MALFORMED_PACKET, "CXP: Malformed packet"},
    {TGX_ERR_CXP_CRC, "CXP: Failed CRC test in last received command"},
    {TGX_ERR_CXP_ACK_TIMEOUT, "CXP: Acknowledgment timeout"},
};

} // namespace

const ErrorRecord* ErrorTableBegin() {
    return std::begin(kErrorTable);
}
const ErrorRecord* ErrorTableEnd() {
    return std::end(kErrorTable);
}

} // namespace orva::genicam

// A linear scan: the table is small, unsorted, and the call is rare (error
// paths only), so no index is worth keeping.
const char* Tgx_getErrorDescription(int32_t code) {
    for (const orva::genicam::ErrorRecord& record : orva::genicam::kErrorTable) {
        if (record.code == code) {
            return record.text;
        }
    }
    return "Unknown Error.";
}
