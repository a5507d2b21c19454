/*
 * Addresses, masks, prefixes, host names and domain names as texts.
 *
 * The rules are the appliance's own and not those of the system's resolver. Unless a function says otherwise, the parts
 * of a dotted address are read as C reads numbers: "0x0a" is hexadecimal and "012" octal, white space and a sign may
 * stand before a part. Texts are never kept; all functions but KAVONetNtoa may be called from any thread.
 *
 * A null pointer leaves NET_ERR_BAD_PARAMETER in the error record, except where a function says that it sets no code.
 * Sizes of buffers include the terminating NUL.
 */
#ifndef KAVONETSDK_ADDR_H
#define KAVONETSDK_ADDR_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- Dotted addresses and masks -------------------------------------------------------------------------------- */

/*
 * Reads "a.b.c.d" into four numbers. At most 31 characters are looked at. The numbers are not range-tested: compare
 * them as unsigned, so that a negative one counts as too large. A number beyond 32 bits becomes the nearest that fits.
 * The first part may be empty (0), a later one may not.
 *
 * Returns 4 on success, otherwise the number of dots that were passed (0..3), with the parts read so far stored:
 * NET_ERR_BAD_ADDRESS at line 27 (one of the first three parts) or 38 (text after the fourth). A text that ends after
 * its third dot ("1.2.3.") gives 3 and sets no code. Null: -1.
 */
int cKLIBISepIP(const char *szIP, int rgPart[4]);

/*
 * The prefix length (1..32) of a mask in four numbers. Returns 0 for the mask 0.0.0.0, without a code, and on failure:
 * NET_ERR_BAD_ADDRESS at line 27 (a part above 255) or 37 (a mask with a hole). Null: 0.
 */
int cKLIBICalMask(const int rgPart[4]);

/*
 * Whether a text is an IPv4 address that a host can have: first part 0..223 without 127, the others 0..255.
 * Returns 1, or 0 with NET_ERR_BAD_ADDRESS at line 20 (not four parts, or the first is refused) or 25 (another part).
 */
int BlKLIBIsIpAddr(const char *szIP);

/*
 * Whether a text is a contiguous mask other than 0.0.0.0. On success the text is rewritten in place in decimal
 * ("0xff.255.255.0" becomes "255.255.255.0"), which never needs more room than the text had.
 * Returns 1, or 0 with NET_ERR_BAD_ADDRESS at line 17 and the text as it was.
 */
int BlKLIBIsIpMask(char *szMask);

/*
 * Whether a host can have this address under this mask: both are valid and the address is not the broadcast address.
 * The network's own address is accepted, and so is any address under 255.255.255.255. Returns 1 or 0. Codes:
 * NET_ERR_BAD_PARAMETER at line 30, with a log line (null); NET_ERR_BAD_ADDRESS as BlKLIBIsIpAddr and BlKLIBIsIpMask
 * set it, or at line 42 (the system's own parser refuses the text) or 46 (broadcast address). A mask of 20 characters
 * or more gives 0 without a code.
 */
int BlKLIBIsValidIpMask(const char *szIP, const char *szMask);

/* ---- Subnets --------------------------------------------------------------------------------------------------- */

/*
 * Turns "address/N" into "network/mask": "192.168.1.77/24" into "192.168.1.0/255.255.255.0". The result goes to szOut
 * or, when that is null, over szSubnet; either must then hold 32 bytes, and both may be the same. N is 1..32, read as
 * C reads numbers. At most 63 characters are looked at.
 *
 * Returns 0, or -1 with both texts as they were: NET_ERR_BAD_PARAMETER at line 33 (null) or 44 (no "/");
 * NET_ERR_BAD_ADDRESS at line 51 (a part above 255), 57 (text after N), 62 (N out of range) or as cKLIBISepIP sets it.
 * An address that ends after its third dot sets no code.
 */
int ErrKLIBSubnetToIpMask(char *szSubnet, char *szOut);

/*
 * The other way round: "10.1.2.3/255.0.0.0" becomes "10.0.0.0/8". The result goes to szOut or, when that is null, over
 * szIpMask; it needs at most 19 bytes.
 *
 * Returns 0, or -1 with both texts as they were: NET_ERR_BAD_PARAMETER at line 17 (null) or 28 (no "/");
 * NET_ERR_BAD_ADDRESS at line 35 (the address) or as cKLIBISepIP and cKLIBICalMask set it for the mask. A mask that is
 * zero or ends after its third dot sets no code.
 */
int ErrKLIBIpMaskToSubnet(char *szIpMask, char *szOut);

/*
 * The number of one bits of a mask that inet_aton understands; whether they are contiguous is not tested ("255.0.255.0"
 * gives 16). Returns 0..32, or -1 without a code for any other text. Null: -1.
 */
int KAVONetNetmaskToPrefix(const char *szMask);

/*
 * Splits "a.b.c.d/N". The address, which may hold only digits and dots and must pass BlKLIBIsIpAddr, goes to szIP of
 * cbIP bytes (at least 2; it must fit whole), N (decimal, 0..32; text after it is ignored) to *pPrefix. Returns 0, or
 * -1 with a log line and both outputs as they were. Null or a cbIP below 2: -1 with NET_ERR_BAD_PARAMETER.
 */
int KAVONetSeperateSubnet(const char *szSubnet, char *szIP, int cbIP, unsigned int *pPrefix);

/*
 * Whether an IPv4 address lies in a subnet "a.b.c.d/N" whose host bits are zero. "0.0.0.0/0" holds every address.
 * Returns 1 inside, 0 outside and, with a log line, on error. Null: 0.
 */
int KAVONetIsIpInSubnet(const char *szIP, const char *szSubnet);

/*
 * Whether an address lies between two others, both included, in whichever order they are given. family is 2 (AF_INET)
 * or 10 (AF_INET6), and the texts are those that inet_pton understands. Returns 1 inside, 0 outside, -1 when a text
 * does not parse or, with a log line, for any other family. Null: -1.
 */
int KLIBIsIpInRange(const char *szIP, const char *szStart, const char *szEnd, int family);

/*
 * Whether two addresses agree in the bits of a mask; all three are IPv4 or all three IPv6 texts (an IPv6 mask is
 * written as an address: "ffff:ffff::"). Returns 1, or 0, also for texts that do not parse or do not match in family.
 * Null: 0 with NET_ERR_BAD_PARAMETER at line 83.
 */
int KAVONetIsSameSubnet(const char *szA, const char *szB, const char *szMask);

/* ---- Addresses ------------------------------------------------------------------------------------------------- */

/*
 * Whether an IPv4 address is one of 10.0.0.0/8, 127.0.0.0/8, 169.254.0.0/16, 172.16.0.0/12 and 192.168.0.0/16.
 * Returns 1, or 0, also for texts that are no address (then with the code of cKLIBISepIP, if it sets one). Null: -1.
 */
int KAVONetIsPrivateIP(const char *szIP);

/* The family of an address that inet_pton understands: 2 (AF_INET), 10 (AF_INET6), or 0 when it is neither. Null: 0. */
int KAVONetGetAddrType(const char *szAddr);

/* The decimal text of an address in network byte order. It stands in the one static buffer of 18 bytes that every call,
 * in any thread, overwrites; nobody frees it. */
const char *KAVONetNtoa(uint32_t addr);

/* Whether a text is an IPv6 address of at most 46 characters, with or without "/N" (1 to 3 digits, at most 128).
 * Returns 1 or 0 and sets no code, null included. */
int BlKLIBIsv6IpAddrValid(const char *sz);

/* ---- Asking ipcalc --------------------------------------------------------------------------------------------- */

/*
 * The network (broadcast) address that "/bin/ipcalc -n <szArg>" ("-b") prints as "NETWORK=..." ("BROADCAST=...") in its
 * first line, cut to szOut of cbOut bytes. szArg is passed as one word, for example "192.168.1.5/24". Of the broadcast
 * line only cbOut - 1 characters are read, "BROADCAST=" included, so that a whole address needs 26 bytes.
 *
 * Returns 0, also when ipcalc fails or its first line is another (szOut then stays as it was), or -1: without a code
 * but with a log line when ipcalc cannot be started; with NET_ERR_BAD_PARAMETER for null, an empty szArg or a cbOut of
 * 0. Blocks until ipcalc ends.
 */
int KAVONetCalNetwork(const char *szArg, char *szOut, size_t cbOut);
int KAVONetCalBroadcast(const char *szArg, char *szOut, size_t cbOut);

/* ---- Names ----------------------------------------------------------------------------------------------------- */

/* Whether a text is a host name: 1 to 15 ASCII letters, digits, "-" and "_", of which the first is a letter or "_".
 * Returns 1 or 0 and sets no code, null included. */
int BlKLIBIsHostname(const char *sz);

/* Whether a text is one or more atoms joined by single dots ("example.com", but not "example.com."). At most 511 bytes
 * are looked at. Returns 1 or 0 and sets no code, null included. */
int BlKLIBIsDomain(const char *sz);

/* Whether a text is an atom: not empty, and without control characters, space and any of "(),.:;<>[\]@ and the double
 * quote. Bytes of 127 and above are accepted. Returns 1 or 0 and sets no code, null included. */
int BlKLIBIsAtom(const char *sz);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
