// The texts, from Help.h.

#include "Help.h"

namespace Inventory {

const char kUsage[] =
    R"(Usage: inventory create FOLDER OUT.xml [OPTION]...
       inventory verify FOLDER IN.xml [OPTION]...
       inventory show IN.xml [OPTION]...
       inventory copy IN.xml FOLDER TARGET [OPTION]...
       inventory help [VERB]
)";

const char kHelp[] = R"(
Keeps an inventory of a folder, and of all folders in it, as an XML document.

  create    writes the inventory of FOLDER
  verify    compares FOLDER with its inventory
  show      prints totals and the largest files of an inventory
  copy      copies the files of an inventory, and verifies the copies
  help      prints this, or the help of a verb

  --seal KEYFILE    the inventory is enciphered; 'inventory help create' says
                    how, and for what that is not good enough
  --color WHEN      colours on standard error: always, never, or auto: on a
                    terminal, unless TERM is "dumb" or NO_COLOR is set
  -h, --help        prints the help of the verb, with all its options
  --                ends the options; what follows is a folder or a document

On a terminal, standard error shows how far a verb is, how fast, and how long it
will still take ("?" for as long as nobody can say).

A name that holds a "%", or that cannot be shown as it is, is printed with "%"
and every byte outside printable ASCII as %XX, in hexadecimal digits.

Exit status: 0 done, 1 verify or copy found differences, 2 an error. SIGINT
(Ctrl-C), SIGTERM and SIGHUP (a terminal that is closed) end a verb in good
order, and then the program; one that is ignored, as nohup does, stays so.
)";

const char kCreateHelp[] =
    R"(Usage: inventory create FOLDER OUT.xml [--digest] [--encoding NAME]
                        [--resume | --seal KEYFILE] [--color WHEN]

Writes the inventory of FOLDER to OUT.xml: an identifier for each entry, its
path, type, size and times. Symbolic links are listed and not followed, but
FOLDER itself may be one.

OUT.xml appears or changes at the end, in one step, whole or not at all. Only a
file is replaced, whose permissions stay: no link, folder or device. Put it
outside FOLDER: inside, 'inventory verify' would find it added or changed.

A name that is no text in this locale, or that XML cannot hold, is kept in an
escaped form; it is named on standard error and counted. So is an entry that
cannot be read, of which the inventory has the path. Neither is an error.

Meanwhile a file ".OUT.xml.lock" beside it is locked: another 'inventory create'
of the same OUT.xml then ends with an error that names the process. The lock is
free again when its holder ends, even if it was killed.

Interrupted by SIGINT (Ctrl-C), SIGTERM or SIGHUP, it leaves OUT.xml as it was.

  --digest          with the MD5 digest of the content of each file. A file that
                    cannot be read, or changes meanwhile, gets none; it is named
                    on standard error and counted, which is no error either.
  --encoding NAME   the document's encoding, UTF-8 if not given. In any other,
                    all names that are not ASCII are escaped. Encodings that do
                    not extend ASCII, such as UTF-16, are refused.
  --resume          with --digest: keeps the digests computed so far in a
                    journal beside OUT.xml, ".OUT.xml.journal". When the program
                    was interrupted or killed, the same call takes those of
                    files from there whose size, times and inode have not
                    changed. The journal goes when OUT.xml is complete. One
                    that is not its owner's alone is named on standard error,
                    and neither read nor written.
  --seal KEYFILE    OUT.xml is enciphered with the key in KEYFILE: 32
                    hexadecimal digits on a line, as 'openssl rand -hex 16'
                    prints them. No plain copy of it is ever on the disk, for
                    which reason there is no --resume with it; a plain journal
                    that an earlier --resume has left is named on standard error
                    and stays. The other verbs read OUT.xml with the same
                    option.
  --color WHEN      auto, always or never: 'inventory help' says when that is
  -h, --help        prints this
  --                ends the options

A sealed inventory is enciphered (SEED) block by block, without a vector and
without authentication: equal blocks of 16 bytes show as equal, and changes by
somebody without the key can go unnoticed. For real secrecy, encipher the
inventory with a program for authenticated encryption.

Exit status: 0 done, 2 an error.
)";

const char kVerifyHelp[] =
    R"(Usage: inventory verify FOLDER IN.xml [--digest] [--seal KEYFILE]
                        [--color WHEN]

Compares FOLDER with the inventory IN.xml and prints, in the order of the paths,

  added    PATH             in FOLDER, not in IN.xml
  removed  PATH             in IN.xml, not in FOLDER
  changed  PATH (WHAT)      in both, but not the same

and the counts. Files and links have changed when their type, size, time of
last modification or link target has; folders and others when their type has,
and folders also when their entries could be read only once. What IN.xml has in
a folder that cannot be read now is not compared.

  --digest          reads the files of which IN.xml has a digest, where the size
                    is still the same, and compares their content, too: WHAT is
                    then "content"; or "content not read", where a file cannot
                    be read or changes meanwhile
  --seal KEYFILE    IN.xml is sealed: 'inventory help create' says how
  --color WHEN      auto, always or never: 'inventory help' says when that is
  -h, --help        prints this
  --                ends the options

Exit status: 0 the same, 1 different, 2 an error.
)";

const char kShowHelp[] =
    R"(Usage: inventory show IN.xml [--chart FILE.svg] [--seal KEYFILE]
                      [--color WHEN]

Prints of the inventory IN.xml: the entries and bytes of each type, of all, of
files with a digest, and of those among them that have the content of one before
them; the files and bytes of each file extension, and their share of all bytes,
for the 20 with the most bytes; and the 20 largest files. An extension is what
follows the last "." of a file's name.

  --chart FILE.svg  draws the bytes of the largest extensions, and of files by
                    the time since their last change, as a picture (SVG), which
                    is plain for a sealed inventory, too
  --seal KEYFILE    IN.xml is sealed: 'inventory help create' says how
  --color WHEN      auto, always or never: 'inventory help' says when that is
  -h, --help        prints this
  --                ends the options

Exit status: 0 done, 2 an error.
)";

const char kCopyHelp[] =
    R"(Usage: inventory copy IN.xml FOLDER TARGET [--seal KEYFILE]
                        [--color WHEN]

Copies each file that IN.xml, an inventory of FOLDER, lists from FOLDER to the
folder TARGET, as it is now, and compares the copy with it byte by byte. TARGET
and the folders in it are made where they are missing. Nothing is overwritten,
and nothing is copied out of TARGET: a symbolic link in it is not followed, but
FOLDER and TARGET themselves may be one. Prints, in the order of the paths,

  changed  PATH (WHAT)      copied, but not what IN.xml lists: another size or
                            time of last modification
  missing  PATH             in IN.xml, not in FOLDER
  special  PATH (TYPE)      no file, in IN.xml or in FOLDER, and not copied
  existing PATH             in TARGET before, which is left as it is
  failed   PATH (WHY)       cannot be read or made; or the copy differs, which
                            is then removed

and the counts, in which changed files are also copied ones. Copies have the
permissions of their files, less the umask, and where that is allowed their
owner; they have new times. Folders with no file to copy are not made.

Interrupted by SIGINT (Ctrl-C), SIGTERM or SIGHUP, it removes the copy that it
is about to make or to compare, and keeps those before.

  --seal KEYFILE    IN.xml is sealed: 'inventory help create' says how
  --color WHEN      auto, always or never: 'inventory help' says when that is
  -h, --help        prints this
  --                ends the options

Exit status: 0 all copied as listed, 1 not so, 2 an error.
)";

}  // namespace Inventory
