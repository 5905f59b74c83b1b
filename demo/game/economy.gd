extends Node
## What the player owns. Harvesters bring crystal home; crystal and victories become score.

const START := 200

var crystal := START
var score := 0


func reset() -> void:
	crystal = START
	score = 0


func deliver(amount: int) -> void:
	crystal += amount
	score += amount * 10


func reward(points: int) -> void:
	score += points


func pay(amount: int) -> bool:
	if crystal < amount:
		return false
	crystal -= amount
	return true
