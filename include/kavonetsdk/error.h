/*
 * The codes that the library leaves in the calling thread's error record (KLIBCErrGet), with the bare name of the source
 * file and the line (KLIBCErrorGetFile, KLIBCErrorGetLine).
 */
#ifndef KAVONETSDK_ERROR_H
#define KAVONETSDK_ERROR_H

enum {
    NET_ERR_NO_SPACE = 0x0100,       /* a buffer could not grow, or a fixed table is full */
    NET_ERR_OUT_OF_MEMORY = 0x0200,  /* an allocation failed */
    NET_ERR_LOCK_FAILED = 0x0400,    /* the configuration lock was not to be had in time */
    NET_ERR_OPEN_FAILED = 0x0900,    /* a file could not be opened or created */
    NET_ERR_READ_FAILED = 0x0A00,    /* an open file could not be read */
    NET_ERR_WRITE_FAILED = 0x0B00,   /* a file could not be written, flushed, synced or closed */
    NET_ERR_BAD_PARAMETER = 0x0D00,  /* a null, empty, over-long or hostile argument, or a number out of range */
    NET_ERR_BAD_HOSTNAME = 0x0E00,   /* a host name that is empty, longer than 63 characters or more than one line */
    NET_ERR_BAD_ADDRESS = 0x1000,    /* a malformed address, mask or prefix */
    NET_ERR_RENAME_FAILED = 0x2800,  /* a finished file could not be moved onto its target */
    NET_ERR_EXEC_FAILED = 0x2A00,    /* a command or a service unit failed */
    NET_ERR_SOCKET_FAILED = 0x3400,  /* no socket for an interface request */
    NET_ERR_IOCTL_FAILED = 0x3600,   /* an interface request failed */
    NET_ERR_BAD_FORMAT = 0x4000,     /* a kernel file of an unknown form */
    NET_ERR_SYSTEM = 0x8100,         /* the system refused */
    NET_ERR_ALREADY_EXISTS = 0xBB00, /* the thing to be added is already there */
    NET_ERR_NO_SUCH_DEVICE = 0xBC00, /* no such interface, or none of the requested kind */
    NET_ERR_LIST_FULL = 0xBD00       /* a bond holds its 32 members */
};

#endif
