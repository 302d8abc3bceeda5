// A tuning directory with its scenes and looks: what the commands that change one work on.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/tuning/Bake.h"
#include "tools/tuning/FileChanges.h"
#include "tools/tuning/IniDocument.h"

namespace tool {

class TuningDirectory {
public:
    // Reads the INI files and the looks. Throws (exit code 3) when the directory, photoSet.ini or
    // frameSet.ini cannot be read or they disagree about the number of tables; LookError for a look that is
    // none.
    explicit TuningDirectory(const std::string& path);

    const std::string& path() const { return m_path; }
    TableReader reader() const;
    std::string platform(bool photo) const;  // back end, empty when there is none

    int tableCount() const { return static_cast<int>(m_looks.size()); }
    const std::optional<Look>& look(int table) const { return m_looks[static_cast<std::size_t>(table)]; }
    // Host scene number -> table.
    const std::vector<int>& sceneIdx(bool photo) const { return photo ? m_photoIdx : m_frameIdx; }

    // The table of a scene, by its look's name or its host scene number (which must mean the same table for
    // photos and previews). Throws a usage error that lists the names when there is none.
    int tableOf(const std::string& scene) const;
    // The host scene number of a mode for a name or a number. A number is taken as it is.
    int sceneOf(const std::string& scene, bool photo) const;
    // "neutral, food, 2": names of looks, or tables' numbers.
    std::string sceneNames() const;

    // Changes, in memory; save() bakes and writes them.
    void setLook(int table, Look look);
    int addTable(Look look);  // at the end; no scene number yet
    void removeTable(int table,
                     int instead);         // scene numbers that showed it show `instead`; the last ones go
    void mapScene(int number, int table);  // a number that is at most one behind the last
    // Gives what the new back ends cannot show as the old ones did, in sentences.
    std::vector<std::string> setPlatforms(const std::string& photo, const std::string& frame);

    // What an editor holds, instead of all there is: tables with the ones on the disk that they were (-1:
    // new), scene numbers, the back end's name, and photoSet.ini or frameSet.ini.
    struct EditedTable {
        std::optional<Look> look;
        int origin = -1;
    };
    void setTables(std::vector<EditedTable> tables);
    void setScenes(bool photo, std::vector<int> idx) { (photo ? m_photoIdx : m_frameIdx) = std::move(idx); }
    void setPlatform(bool photo, const std::string& name);
    const IniDocument& settings(bool photo) const { return photo ? m_photoSet : m_frameSet; }
    void setSettings(bool photo, IniDocument set) { (photo ? m_photoSet : m_frameSet) = std::move(set); }

    // Bakes every look whose files are not what they should be, makes the fused tables again, and replaces
    // what changed, all or nothing. Gives the names of the files that changed. Throws (exit code 3) for a
    // table that has neither a look nor whole files, or a name that two looks have.
    std::vector<std::string> save();
    // What save() would replace, without doing it; `bake` as the function of that name. Throws as save() does,
    // but for what cannot be written.
    using BakeFunction = std::function<BakedTable(const Look&, TableReader)>;
    FileChanges changes(const BakeFunction& bake);
    FileChanges changes();

    // save() leaves this table's files as they are, whatever its look says.
    void keepFiles(int table) { m_kept.insert(table); }

    // Makes looks for tables that have none; they bake to the bytes that are there, which is checked. Throws
    // (exit code 3) for a table whose files do not say all. Gives the tables.
    std::vector<int> adopt();
    // The same for one table, in memory.
    void adoptOne(int table);

private:
    struct Raw {  // a table's files as they are
        IniDocument param;
        Bytes curve, color;
    };
    Raw rawOf(int table) const;
    Look adopted(int table, const Raw& raw) const;
    void checkNames() const;
    void putScenes();

    std::string m_path;
    IniDocument m_platformSet, m_photoSet, m_frameSet;
    std::vector<int> m_photoIdx, m_frameIdx;
    std::vector<std::optional<Look>> m_looks;
    std::vector<int> m_origin;  // table on the disk that each one was, -1: none
    std::vector<std::optional<Look>> m_onDisk;
    int m_tablesOnDisk = 0;
    std::set<int> m_kept;
};

// A fresh param<n>.ini.
std::string paramText(const BakedTable& baked);

// The host scene number for a name or a number, for commands that only run a tuning: a number is not looked
// up, so that any directory will do.
int sceneNumber(const std::string& directory, const std::string& scene, bool photo);
// A scene script, "0:neutral,120:2", with numbers for names.
std::string numberedScenes(const std::string& directory, const std::string& script, bool photo);

}  // namespace tool
