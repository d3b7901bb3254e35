#include "apptext/sample_program.h"

namespace apptext_test {

std::unique_ptr<CLI::App> SampleProgram() {
  auto app = std::make_unique<CLI::App>(
      "sample shows things: it's made to \"trip\" over $HOME, `date` and C:\\new.\n"
      ".TH is no title, and 'this' no macro.\n\n"
      "A second paragraph, 5 \xE2\x82\xAC a piece:\n"
      "  kept    as\n"
      "    it is\n",
      "sample");
  app->footer(
      "Examples:\n"
      "  sample show            all of them\n"
      "  sample show --in /tmp 'a b'\n"
      "\n"
      "Colours: only on a terminal.\n"
      "Exit status: 0 all went well, 1 nothing there, 2 wrong words.");
  app->set_help_flag("-h,--help", "Show this");
  app->add_flag_callback(
      "--verbose", [] {}, "Say more: a lot");
  app->add_option("--hidden", "Not to be seen")->group("");
  app->require_subcommand(1);

  CLI::App* show = app->add_subcommand("show", "Show things, or [one] of them");
  show->alias("look");
  show->fallthrough();
  show->add_option("WHAT", "What to show")
      ->check(CLI::IsMember({"apples", "apple pies", "pe'ars"}));
  show->add_option("-i,--in", "A folder: where they are")->type_name("DIR");
  show->add_option("--from", "Where from")->type_name("FILE");
  show->add_option("--colour", "It's a [choice]: of $two, `or` more")
      ->check(CLI::IsMember({"always", "never"}))
      ->group("Looks");
  show->add_option("-n,--number", "How many")->type_name("N");
  show->add_flag_callback(
      "-q,--quiet", [] {}, "Say less");
  show->footer("Examples:\n  sample show apples     just these\n");

  CLI::App* group = app->add_subcommand("group", "Groups of things");
  group->require_subcommand(1);
  group->add_subcommand("add", "Add to a group")
      ->add_option("NAME", "Its members")
      ->required()
      ->expected(1, -1);
  group->add_subcommand("drop", "Drop a group")->add_option("KEY", "Which")->required();

  app->add_subcommand("secret", "Not to be seen")->group("");
  return app;
}

}  // namespace apptext_test
