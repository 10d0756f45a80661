using System.Collections.Generic;
using System.IO;
using System.Text;

namespace LumManagedTests
{
    /// <summary>Writes outcomes in the form in which the native test programs write theirs.</summary>
    internal sealed class TestReport
    {
        private readonly List<(string Suite, string Name, string? Failure)> outcomes =
            new List<(string, string, string?)>();

        internal void Add(string suite, string name, string? failure)
        {
            outcomes.Add((suite, name, failure));
        }

        internal void Write(string path)
        {
            var text = new StringBuilder("{\n  \"testsuites\": [\n");
            for (int i = 0; i < outcomes.Count; i++)
            {
                var (suite, name, failure) = outcomes[i];
                text.Append("    {\n");
                text.Append($"      \"name\": \"{name}\",\n");
                text.Append("      \"result\": \"COMPLETED\",\n");
                text.Append($"      \"classname\": \"{suite}\"{(failure == null ? "" : ",")}\n");
                if (failure != null)
                {
                    text.Append("      \"failures\": [\n");
                    text.Append($"        {{\"failure\": \"{Escape(failure)}\"}}\n");
                    text.Append("      ]\n");
                }
                text.Append(i + 1 < outcomes.Count ? "    },\n" : "    }\n");
            }
            text.Append("  ]\n}\n");
            File.WriteAllText(path, text.ToString());
        }

        private static string Escape(string text)
        {
            var escaped = new StringBuilder();
            foreach (char unit in text)
            {
                if (unit == '"' || unit == '\\' || unit < ' ' || unit > '~')
                {
                    escaped.Append("\\u").Append(((int)unit).ToString("x4"));
                }
                else
                {
                    escaped.Append(unit);
                }
            }
            return escaped.ToString();
        }
    }
}
