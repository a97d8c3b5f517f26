// The vault of a directory, which the module has read at its start.
#pragma once

#include <cry/cry_vault.h>
#include <pb/pb_file_lock.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

// The files of a vault, as the module names them.
struct VaultFiles
{
    std::string directory, primary, backup, lock;

    explicit VaultFiles( const std::string &directoryOfVault );

    // Throws InputError if that cannot be found out.
    bool exist() const;
    // How many entries of the file the module does not keep, or not with all that they have.
    size_t unknownEntries() const;
};

// An identifier. Throws InputError, which names the option and says the rule, for a text that is
// none.
pb::Ref<PB_IDENTIFIER> identifierOf( const std::string &name, const std::string &option = "NAME" );

// The identities in the vault, in the order of their identifiers. Throws InputError if its file is
// there and cannot be read; warns of entries that are not known.
std::vector<pb::Ref<CRY_VAULT_ITEM>> vaultItems( const std::string &directory );

// A change of the vault that loses nothing: from the constructor to the destructor, no other
// process changes the file.
class VaultChange
{
public:
    // Waits for other processes, then reads the file again, because they may have changed it.
    // Throws InputError if it cannot be read or has unknown entries, which a change would lose.
    // With `force` they are lost. With `force` and `begins`, a file that cannot be read is an empty
    // vault.
    VaultChange( const std::string &directory, bool force, bool begins );
    // Throws InputError if the file cannot be written.
    void save() const;

private:
    VaultFiles            files;
    pb::Ref<PB_FILE_LOCK> lock;
};

}
