#include "pages/pages.hpp"

namespace
{

using pages::Entry;

std::string joined( const std::vector<std::string> &words )
{
    std::string text;
    for( const std::string &each : words )
        text += ( text.empty() ? "" : " " ) + each;
    return text;
}

std::vector<std::string> wordsOf( const tool::Values &values ) { return values.known ? values.known() : std::vector<std::string>(); }

bool isFile( const tool::Values &values ) { return values.kind != tool::Values::text && values.kind != tool::Values::descriptor; }

std::string summary( const Entry &entry ) { return entry.app->get_description(); }

std::vector<std::string> namesOf( const Entry &entry )
{
    std::vector<std::string> names{ "--help", "-h" };
    for( const CLI::Option *each : entry.options() )
        names.push_back( "--" + each->get_lnames()[0] );
    return names;
}

std::vector<std::string> membersOf( const Entry &entry )
{
    std::vector<std::string> names;
    for( const Entry &each : entry.members() )
        names.push_back( each.app->get_name() );
    if( entry.path.empty() )
        names.emplace_back( "help" );
    return names;
}

// ---- bash

std::string bashValues( const CLI::Option *option )
{
    const tool::Values &values = tool::valuesOf( option );
    return isFile( values ) ? "kind=file" : "kind=words words='" + joined( wordsOf( values ) ) + "'";
}

// The rows of a command: its members, options, values and arguments.
std::string bashRows( const Entry &entry )
{
    std::string options, values, arguments;
    for( const CLI::Option *each : entry.options() )
    {
        if( pages::takesValue( each ) )
            values += "        '" + entry.path + " --" + each->get_lnames()[0] + "') " + bashValues( each ) + " ;;\n";
    }
    int place = 0;
    for( const CLI::Option *each : entry.arguments() )
    {
        std::string pattern = pages::isRepeated( each ) ? "*" : std::to_string( place );
        arguments += "        '" + entry.path + " '" + pattern + ") " + bashValues( each ) + " ;;\n";
        place++;
    }
    return values + arguments;
}

// ---- zsh

std::string quotedForZsh( const std::string &text )
{
    std::string out;
    for( char c : text )
        out += c == '\'' ? "'\\''" : c == '[' || c == ']' || c == ':' || c == '\\' ? std::string( "\\" ) + c : std::string( 1, c );
    return out;
}

std::string zshAction( const CLI::Option *option )
{
    const tool::Values &values = tool::valuesOf( option );
    return isFile( values ) ? "_files" : wordsOf( values ).empty() ? " " : "(" + joined( wordsOf( values ) ) + ")";
}

std::string zshFunctionName( const Entry &entry ) { return "_cry" + ( entry.path.empty() ? "" : "_" + pages::replaced( entry.path, " ", "_" ) ); }

std::string zshOptions( const Entry &entry )
{
    std::string text = " \\\n        '(- *)'{-h,--help}'[print this help message and exit]'";
    for( const CLI::Option *each : entry.options() )
    {
        std::string excluded;
        for( const CLI::Option *other : each->get_excludes() )
            excluded += ( excluded.empty() ? "" : " " ) + other->get_name();
        std::string name  = "--" + each->get_lnames()[0];
        std::string front = pages::isRepeated( each ) ? "*" : "(" + name + ( excluded.empty() ? "" : " " + excluded ) + ")";
        text += " \\\n        '" + front + name + ( pages::takesValue( each ) ? "=" : "" ) + "[" + quotedForZsh( each->get_description() ) + "]";
        text += ( pages::takesValue( each ) ? ":" + each->get_type_name() + ":" + zshAction( each ) : "" ) + "'";
    }
    return text;
}

std::string zshFunction( const Entry &entry )
{
    std::string text = zshFunctionName( entry ) + "() {\n";
    if( entry.members().empty() )
    {
        text += "    _arguments" + zshOptions( entry );
        for( const CLI::Option *each : entry.arguments() )
            text += std::string( " \\\n        '" ) +
                ( pages::isRepeated( each )    ? "*"
                        : each->get_required() ? ""
                                               : ":" ) +
                ":" + each->get_name() + ":" + zshAction( each ) + "'";
        return text + "\n}\n\n";
    }
    text += "    local -a commands line\n    local state\n    commands=(\n";
    for( const Entry &each : entry.members() )
        text += "        '" + each.app->get_name() + ":" + quotedForZsh( summary( each ) ) + "'\n";
    if( entry.path.empty() )
        text += "        'help:say how a command is used'\n";
    text += "    )\n    _arguments -C" + zshOptions( entry ) + " \\\n        '1: :->command' '*:: :->rest'\n";
    text += "    case $state in\n        command) _describe command commands ;;\n        rest)\n            case $line[1] in\n";
    for( const Entry &each : entry.members() )
        text += "                " + each.app->get_name() + ") " + zshFunctionName( each ) + " ;;\n";
    if( entry.path.empty() )
        text += "                help) _cry ;;\n";
    return text + "            esac ;;\n    esac\n}\n\n";
}

// ---- fish

std::string quotedForFish( const std::string &text ) { return "'" + pages::replaced( pages::replaced( text, "\\", "\\\\" ), "'", "\\'" ) + "'"; }

std::string fishAt( const Entry &entry ) { return "complete -c cry -n " + quotedForFish( "__cry_at " + entry.path ); }

std::string fishValues( const CLI::Option *option )
{
    const tool::Values &values = tool::valuesOf( option );
    return isFile( values ) ? " -F" : wordsOf( values ).empty() ? " -f" : " -f -a " + quotedForFish( joined( wordsOf( values ) ) );
}

std::string fishRows( const Entry &entry )
{
    std::string text = fishAt( entry ) + " -s h -l help -d 'print this help message and exit'\n";
    for( const Entry &each : entry.members() )
        text += fishAt( entry ) + " -a " + each.app->get_name() + " -d " + quotedForFish( summary( each ) ) + "\n";
    if( entry.path.empty() )
        text += fishAt( entry ) + " -a help -d 'say how a command is used'\n";
    for( const CLI::Option *each : entry.options() )
        text += fishAt( entry ) + " -l " + each->get_lnames()[0] + ( pages::takesValue( each ) ? " -r" + fishValues( each ) : "" ) + " -d " +
            quotedForFish( each->get_description() ) + "\n";
    for( const CLI::Option *each : entry.arguments() )
    {
        std::string values = fishValues( each );
        if( values != " -f" )
            text += fishAt( entry ) + values + "\n";
    }
    return text;
}

}

std::string pages::bashCompletion( const CLI::App &app )
{
    std::string options, members, rows;
    auto        add = [&]( const Entry &entry ) {
        options += "        '" + entry.path + "') words='" + joined( namesOf( entry ) ) + "' ;;\n";
        if( entry.isGroup() )
            members += "        '" + entry.path + "') words='" + joined( membersOf( entry ) ) + "' ;;\n";
        rows += bashRows( entry );
    };
    add( { "", &app } );
    for( const Entry &each : all( app ) )
        add( each );
    return R"(# Completion of cry for bash.

# The names of the options of the command $1, in $words.
_cry_options() {
    words=''
    case $1 in
)" + options +
        R"(    esac
}

# The commands of the group $1, in $words; false if it is not a group.
_cry_members() {
    words=''
    case $1 in
)" + members +
        R"(        *) return 1 ;;
    esac
}

# What is taken after "COMMAND --OPTION", or at "COMMAND PLACE": in $kind "file" or "words".
_cry_values() {
    kind='' words=''
    case $1 in
)" + rows +
        R"(    esac
    [[ $kind ]]
}

_cry() {
    local current=${COMP_WORDS[COMP_CWORD]} command='' option='' before='' ended='' place=0 kind='' words='' word index
    COMPREPLY=()
    for (( index = 1; index < COMP_CWORD; index++ )); do
        word=${COMP_WORDS[index]}
        if [[ $option ]]; then
            # bash takes "--option=value" for three words.
            [[ $word == = ]] || option=''
        elif [[ ! $ended && $word == -- ]]; then
            ended=1
        elif [[ ! $ended && $word == -?* ]]; then
            [[ $word != *=* ]] && _cry_values "$command $word" && option=$word
        elif _cry_members "$command"; then
            [[ ! $command && $word == help ]] || command=${command:+$command }$word
        else
            place=$(( place + 1 ))
        fi
    done
    if [[ $option ]]; then
        [[ $current == = ]] && current=''
        _cry_values "$command $option"
    elif [[ ! $ended && $current == --*=* ]] && _cry_values "$command ${current%%=*}"; then
        before=${current%%=*}=
        current=${current#*=}
    elif [[ ! $ended && $current == -* ]]; then
        kind=words
        _cry_options "$command"
    elif _cry_members "$command"; then
        kind=words
    else
        _cry_values "$command $place"
    fi
    local IFS=$' \t\n'
    if [[ $kind == words ]]; then
        COMPREPLY=( $(compgen -P "$before" -W "$words" -- "$current") )
    elif [[ $kind == file ]]; then
        # Bash itself completes what begins with a tilde.
        compopt -o filenames -o default 2>/dev/null
        IFS=$'\n'
        COMPREPLY=( $(compgen -P "$before" -f -- "$current") )
    fi
}

complete -F _cry cry
)";
}

std::string pages::zshCompletion( const CLI::App &app )
{
    std::string text = "#compdef cry\n\n";
    for( const Entry &each : all( app ) )
        text += zshFunction( each );
    return text + zshFunction( { "", &app } ) + "_cry \"$@\"\n";
}

std::string pages::fishCompletion( const CLI::App &app )
{
    std::string rows = fishRows( { "", &app } ), commands;
    for( const Entry &each : all( app ) )
    {
        rows += fishRows( each );
        if( !each.isGroup() )
            commands += " '" + each.path + "'";
    }
    return R"(# Completion of cry for fish.

# Whether the words so far give this command.
function __cry_at
    set -l path
    set -l words (commandline -opc)
    for word in $words[2..-1]
        if string match -q -- '-*' $word; or test -z "$path" -a "$word" = help
            continue
        end
        set -a path $word
        contains -- "$path")" +
        commands + R"(; and break
    end
    test "$path" = "$argv"
end

complete -c cry -f
)" + rows;
}
